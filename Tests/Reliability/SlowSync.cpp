/// Loaded before a program (LD_PRELOAD): a disk on which a sync takes ten milliseconds, if anything was written since the last
/// one, or if it is a folder's.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <ctime>

namespace {

std::array<bool, 4096> written{};  // by descriptor

/// How many have begun, for those who look at the file that SLOW_SYNC_COUNT names.
std::atomic<int>& count() {
    static void* const shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED,
                                     open(std::getenv("SLOW_SYNC_COUNT"), O_RDWR | O_CLOEXEC), 0);
    return *static_cast<std::atomic<int>*>(shared);
}

int sync(int descriptor) {
    constexpr timespec kSync{0, 10'000'000};
    bool& isWritten = written[static_cast<std::size_t>(descriptor) % written.size()];
    struct stat status {};
    if (isWritten || (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode))) {
        isWritten = false;
        ++count();
        nanosleep(&kSync, nullptr);
    }
    return 0;
}

}  // namespace

extern "C" ssize_t pwrite64(int descriptor, const void* bytes, std::size_t count, off_t offset) {
    written[static_cast<std::size_t>(descriptor) % written.size()] = true;
    const iovec piece{const_cast<void*>(bytes), count};
    return pwritev64(descriptor, &piece, 1, offset);
}
extern "C" ssize_t write(int descriptor, const void* bytes, std::size_t count) {
    written[static_cast<std::size_t>(descriptor) % written.size()] = true;
    const iovec piece{const_cast<void*>(bytes), count};
    return writev(descriptor, &piece, 1);
}
extern "C" int fsync(int descriptor) {
    return sync(descriptor);
}
extern "C" int fdatasync(int descriptor) {
    return sync(descriptor);
}
