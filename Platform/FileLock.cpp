#include "Platform/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <system_error>
#include <thread>

namespace platform {

FileLock::FileLock(const std::string& path, std::chrono::milliseconds patience)
    : file_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
    // flock(2) can't wait for a limited time, so the wait is made of short ones.
    constexpr std::chrono::microseconds kPause{200};
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!file_ || ::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        const bool isTaken = file_ && errno == EWOULDBLOCK;
        if (!isTaken || std::chrono::steady_clock::now() >= end) {
            problem_ = isTaken ? "another process holds " + path : path + ": " + std::generic_category().message(errno);
            return;
        }
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace platform
