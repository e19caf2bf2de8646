#include "Corvane/traces/Recorder.h"

#include "Corvane/support/Log.h"
#include "Platform/File.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

namespace corvane {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kLargestWrite = 65536;
/// So many files that dropping one costs little of the history; no more, since a snapshot costs a link for each.
constexpr std::uint64_t kSegmentsAtLeast = 16;
constexpr std::uint64_t kSmallestSegment = kLargestWrite;
/// A file is read in pieces of this size at the start. No record is larger.
constexpr std::uint64_t kLargestPiece = 16777216;

}  // namespace

Recorder::Recorder(fs::path folder, const SegmentFormat& format, Limits limits)
    : folder_(std::move(folder)), format_(format), limits_(limits) {
    findSegments();  // all of them stay until the first record: the limits of the settings come after this
}

void Recorder::findSegments() {
    std::error_code error;
    for (fs::directory_iterator entry(folder_, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code unknown;
        const std::uint64_t size = entry->file_size(unknown);
        if (entry->path().extension() == format_.extension && !unknown) {
            segments_.push_back({entry->path(), size});
        }
    }
    std::ranges::sort(segments_, {}, &Segment::path);
    if (!segments_.empty()) {
        lastNumber_ = std::strtoul(segments_.back().path.stem().c_str(), nullptr, 10);
        cutTornTail(segments_.back());
        if (segments_.back().size == 0) {
            fs::remove(segments_.back().path, error);
            segments_.pop_back();
        }
    }
    for (const Segment& segment : segments_) {
        total_ += segment.size;
    }
}

void Recorder::cutTornTail(Segment& segment) const {
    const platform::FileDescriptor file(::open(segment.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    std::string piece(static_cast<std::size_t>(std::min(segment.size, kLargestPiece)), '\0');
    std::uint64_t whole = 0;
    while (whole < segment.size) {
        const ssize_t count = ::pread(file.get(), piece.data(), piece.size(), static_cast<off_t>(whole));
        if (count < 0) {
            return;  // as the disk may be broken, it stays as it is
        }
        const std::size_t length = format_.wholeLength({piece.data(), static_cast<std::size_t>(count)});
        if (length == 0) {
            break;
        }
        whole += length;
    }
    if (whole < segment.size && ::truncate(segment.path.c_str(), static_cast<off_t>(whole)) == 0) {
        segment.size = whole;
    }
}

void Recorder::append(TraceTime time, std::string_view record) {
    if (time < lastTime_ || format_.oneRecordEach) {
        flush();
        file_ = {};
    }
    lastTime_ = time;
    format_.append(pending_, time, record, lost_);
    pendingRecords_ += 1 + std::exchange(lost_, 0);
    if (pending_.size() >= kLargestWrite) {
        flush();
    }
}

void Recorder::flush() {
    if (!isPending()) {
        return;
    }
    if (open()) {
        write();
    }
    pending_.clear();
    pendingRecords_ = 0;
}

bool Recorder::open() {
    if (file_ && segments_.back().size + pending_.size() > segmentBytes()) {
        file_ = {};
    }
    makeRoom(pending_.size() + (file_ ? 0 : format_.header.size()));
    if (file_) {
        return true;
    }
    platform::makeFolders(folder_, S_IRWXU | S_IRGRP | S_IXGRP);
    const fs::path path = folder_ / fmt::format("{:08}{}", lastNumber_ + 1, format_.extension);
    file_ = platform::FileDescriptor(
        ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR | S_IRGRP));
    if (!file_) {
        fail(path, errno);
        return false;
    }
    ++lastNumber_;
    segments_.push_back({path, 0});
    pending_.insert(0, format_.header);
    return true;
}

void Recorder::write() {
    Segment& segment = segments_.back();
    const ssize_t written = ::write(file_.get(), pending_.data(), pending_.size());
    if (written == static_cast<ssize_t>(pending_.size())) {
        segment.size += pending_.size();
        total_ += pending_.size();
        if (failing_) {
            log::notice("there is room again: the trace in " + folder_.string() + " goes on");
        }
        failing_ = false;
        return;
    }
    fail(segment.path, written < 0 ? errno : ENOSPC);
    // No part of a record stays.
    const bool isCut = ::ftruncate(file_.get(), static_cast<off_t>(segment.size)) == 0;
    if (segment.size == 0) {
        ::unlink(segment.path.c_str());
        segments_.pop_back();
        file_ = {};
    } else if (!isCut) {
        file_ = {};
    }
}

void Recorder::fail(const fs::path& path, int error) {
    lost_ += pendingRecords_;
    if (!failing_) {
        log::warning("can't write " + path.string() + ": " + std::strerror(error) + "; its records are lost until there is room");
    }
    failing_ = true;
}

std::uint64_t Recorder::segmentBytes() const {
    const std::uint64_t share = limits_.bytes / std::min<std::uint64_t>(kSegmentsAtLeast, limits_.segments);
    return limits_.segments <= kSegmentsAtLeast ? share : std::max(share, kSmallestSegment);
}

void Recorder::dropOldest() {
    total_ -= segments_.front().size;
    ::unlink(segments_.front().path.c_str());
    segments_.pop_front();
    linked_ -= linked_ > 0 ? 1 : 0;
}

/// Drops the oldest files until `bytes` more keep the limits.
void Recorder::makeRoom(std::uint64_t bytes) {
    const auto isOver = [&] {
        return total_ + bytes > limits_.bytes || segments_.size() + (file_ || bytes == 0 ? 0 : 1) > limits_.segments;
    };
    while (segments_.size() > (file_ ? 1U : 0U) && isOver()) {
        dropOldest();
    }
}

void Recorder::setLimits(Limits limits) {
    limits_ = limits;
    makeRoom(0);
}

Result<void> Recorder::link(const fs::path& folder) {
    flush();
    file_ = {};
    std::error_code error;
    if (!segments_.empty()) {
        fs::create_directory(folder, error);
    }
    for (auto segment = segments_.begin(); !error && segment != segments_.end(); ++segment) {
        const fs::path link = folder / segment->path.filename();
        fs::create_hard_link(segment->path, link, error);
        if (error) {
            fs::copy_file(segment->path, link, error);
        }
    }
    if (error) {
        return Refusal::storageFailed(error.message());
    }
    linked_ = segments_.size();
    return {};
}

void Recorder::removeLinked() {
    while (linked_ > 0) {
        dropOldest();
    }
}

}  // namespace corvane
