#include "Corvane/support/LogFile.h"

#include "Corvane/support/Log.h"
#include "Corvane/support/UtcTime.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace corvane {

namespace fs = std::filesystem;

bool LogFile::open() {
    if (file_) {
        return true;
    }
    std::error_code error;
    fs::create_directories(path_.parent_path(), error);
    // A pipe in its place is not waited for, and a link not followed.
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    constexpr mode_t kMode = S_IRUSR | S_IWUSR;
    file_ = platform::FileDescriptor(::open(path_.c_str(), kFlags, kMode));
    struct stat status {};
    const bool isOpen = file_ && fstat(file_.get(), &status) == 0;
    if (isOpen && S_ISREG(status.st_mode)) {
        const bool isShared = readers_ && fchown(file_.get(), static_cast<uid_t>(-1), *readers_) == 0;
        fchmod(file_.get(), isShared ? kMode | S_IRGRP : kMode);
        size_ = static_cast<std::uint64_t>(status.st_size);
        isRefused_ = false;
        return true;
    }
    const std::string why = isOpen ? "it is not a regular file" : std::strerror(errno);
    file_ = {};
    if (!std::exchange(isRefused_, true)) {
        log::error("the manager's own log can't be written to " + path_.string() + ": " + why);
    }
    return false;
}

void LogFile::write(std::string_view line) {
    if (!open()) {
        return;
    }
    if (size_ >= largest_) {
        std::error_code error;
        fs::rename(current(), older(), error);
        file_ = {};
        if (error || !open()) {
            return;
        }
    }
    const std::string text = utcTimeStamp() + " " + std::string(line) + "\n";
    const ssize_t written = ::write(file_.get(), text.data(), text.size());
    size_ += written > 0 ? static_cast<std::uint64_t>(written) : 0;
}

void LogFile::remove() {
    std::error_code error;
    fs::remove(older(), error);
    fs::remove(current(), error);
    file_ = {};
}

}  // namespace corvane
