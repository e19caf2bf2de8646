#include "Platform/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <thread>

namespace platform {

FileLock::FileLock(const std::string& path, std::chrono::milliseconds patience)
    : file_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
    // flock(2) can't wait for a limited time, so the wait is made of short ones.
    constexpr std::chrono::microseconds kPause{200};
    const auto end = std::chrono::steady_clock::now() + patience;
    while (file_) {
        if (::flock(file_.get(), LOCK_EX | LOCK_NB) == 0) {
            held_ = true;
            return;
        }
        if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() >= end) {
            return;
        }
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace platform
