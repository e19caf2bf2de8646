#pragma once

#include "Corvane/support/Result.h"
#include "Corvane/traces/SegmentFormat.h"
#include "Platform/FileDescriptor.h"

#include <cstdint>
#include <deque>
#include <filesystem>
#include <limits>
#include <string>
#include <string_view>

namespace corvane {

/// What users set limits in.
constexpr std::uint64_t kMegabyte = 1048576;

/// Records of one trace, in files of which each can be read by itself: "00000001.pcapng", "00000002.pcapng", ...
///
/// Records are gathered in memory until `flush`, or until there are 64 KB of them, and are never synced to disk. The oldest
/// files go when the limits are reached. A disk that takes no more costs records, which are counted, and one line in the log;
/// the recording goes on by itself when there is room. Times never go back within a file: a record that is older than the one
/// before it begins the next file.
class Recorder {
public:
    struct Limits {
        std::uint64_t bytes;  ///< of all files; at least a megabyte
        std::size_t segments = std::numeric_limits<std::size_t>::max();
    };

    /// Finds what an earlier manager recorded, and cuts off a record that it did not finish.
    /// @param folder made with the first record. @param format outlives this.
    Recorder(std::filesystem::path folder, const SegmentFormat& format, Limits limits);
    ~Recorder() { flush(); }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    void append(TraceTime time, std::string_view record);
    /// Writes what was gathered: less than 64 KB and a record.
    void flush();
    /// Whether `flush` has something to do.
    bool isPending() const { return pendingRecords_ != 0; }
    /// Of all files.
    std::uint64_t bytes() const { return total_; }
    /// Whether the last write failed.
    bool isFailing() const { return failing_; }

    void setLimits(Limits limits);

    /// Puts hard links to all files into `folder`, which it makes when there is something to link, and begins the next file.
    /// A refusal is a clause.
    Result<void> link(const std::filesystem::path& folder);
    /// Removes the files that were linked. What has been recorded since stays.
    void removeLinked();

private:
    struct Segment {
        std::filesystem::path path;
        std::uint64_t size;
    };

    void findSegments();
    void cutTornTail(Segment& segment) const;
    bool open();
    void write();
    void fail(const std::filesystem::path& path, int error);
    void dropOldest();
    void makeRoom(std::uint64_t bytes);
    std::uint64_t segmentBytes() const;

    const std::filesystem::path folder_;
    const SegmentFormat& format_;
    Limits limits_;
    std::deque<Segment> segments_;  ///< oldest first; the last one is written to while `file_` is open
    std::size_t linked_ = 0;        ///< of them, from the oldest
    std::uint64_t total_ = 0;       ///< bytes of all of them
    unsigned long lastNumber_ = 0;
    platform::FileDescriptor file_;
    std::string pending_;
    std::uint64_t pendingRecords_ = 0;  ///< in `pending_`, with those that it says are lost
    TraceTime lastTime_;                ///< of the last record, whichever file it is in
    std::uint64_t lost_ = 0;            ///< records since the last one that was written
    bool failing_ = false;
};

}  // namespace corvane
