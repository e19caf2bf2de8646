#include "Corvane/traces/ScratchLog.h"

#include "Corvane/support/UtcTime.h"
#include "config/RYNProperties.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <string>

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
    file_ = platform::FileDescriptor(
        ::open(current().c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR | S_IRGRP));
    const std::uint64_t size = fs::file_size(current(), error);
    size_ = error ? 0 : size;
    return static_cast<bool>(file_);
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
        if (keep) {
            fs::copy_file(log, folder / log.filename(), error);
        } else {
            fs::rename(log, folder / log.filename(), error);
        }
    }
    if (!keep) {
        file_ = {};
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
