#include "Corvane/traces/ScratchLog.h"

#include "Corvane/support/Log.h"
#include "Corvane/support/UtcTime.h"
#include "config/RYNProperties.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace corvane {

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t kMegabyte = 1048576;

}  // namespace

void ScratchLog::refresh() {
    enabled_ = RYNProperties::traceRYNEnabled();
    largestFile_ = RYNProperties::traceRYNHistory() * kMegabyte / 2;
}

bool ScratchLog::open() {
    if (file_) {
        return true;
    }
    std::error_code error;
    fs::create_directories(folder_, error);
    // A pipe in its place is not waited for, and a link not followed.
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    constexpr mode_t kMode = S_IRUSR | S_IWUSR;
    file_ = platform::FileDescriptor(::open(current().c_str(), kFlags, kMode));
    struct stat status {};
    const bool isOpen = file_ && fstat(file_.get(), &status) == 0;
    if (isOpen && S_ISREG(status.st_mode)) {
        fchmod(file_.get(), kMode);
        size_ = static_cast<std::uint64_t>(status.st_size);
        isRefused_ = false;
        return true;
    }
    const std::string why = isOpen ? "it is not a regular file" : std::strerror(errno);
    file_ = {};
    if (!std::exchange(isRefused_, true)) {
        log::error("the manager's own log can't be written to " + current().string() + ": " + why);
    }
    return false;
}

void ScratchLog::write(std::string_view line) {
    if (!enabled_ || !open()) {
        return;
    }
    if (size_ >= largestFile_) {
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

std::error_code ScratchLog::collect(const fs::path& folder, bool keep) {
    std::error_code error;
    for (const fs::path& log : {older(), current()}) {
        std::error_code unknown;
        if (!fs::exists(log, unknown) || error) {
            continue;
        }
        // What isn't kept is removed by `clear`, and until then is in both places.
        if (keep || (fs::create_hard_link(log, folder / log.filename(), unknown), unknown)) {
            fs::copy_file(log, folder / log.filename(), error);
        }
    }
    return error;
}

void ScratchLog::clear() {
    std::error_code error;
    fs::remove(older(), error);
    fs::remove(current(), error);
    file_ = {};
}

}  // namespace corvane
