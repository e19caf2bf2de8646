/// Loaded before a program (LD_PRELOAD): a disk on which a sync takes ten milliseconds, if anything was written since the last
/// one.

#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <ctime>

namespace {

std::array<bool, 4096> written{};  // by descriptor

template <typename Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

int sync(int descriptor) {
    constexpr timespec kSync{0, 10'000'000};
    bool& isWritten = written[static_cast<std::size_t>(descriptor) % written.size()];
    if (isWritten) {
        isWritten = false;
        nanosleep(&kSync, nullptr);
    }
    return 0;
}

}  // namespace

extern "C" ssize_t pwrite64(int descriptor, const void* bytes, std::size_t count, off_t offset) {
    static const auto function = next<decltype(&pwrite64)>("pwrite64");
    written[static_cast<std::size_t>(descriptor) % written.size()] = true;
    return function(descriptor, bytes, count, offset);
}
extern "C" int fsync(int descriptor) {
    return sync(descriptor);
}
extern "C" int fdatasync(int descriptor) {
    return sync(descriptor);
}
