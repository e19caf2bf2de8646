#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace corvane {

using TraceTime = std::chrono::system_clock::time_point;

/// How records become a file that a standard program opens.
struct SegmentFormat {
    const char* extension;
    /// What a segment begins with.
    std::string header;
    /// Appends `record`, taken at `time`, to `out`. @param lost how many records were lost just before it.
    void (*append)(std::string& out, TraceTime time, std::string_view record, std::uint64_t lost);
    /// How many leading bytes of `piece` are the header and whole records. `piece` begins at the segment's start or right after a
    /// record.
    std::size_t (*wholeLength)(std::string_view piece);
    bool oneRecordEach = false;  ///< a segment holds one record
};

/// Packets of LINKTYPE_IPV4 (pcapng, draft-ietf-opsawg-pcapng).
extern const SegmentFormat kPcapng;
/// A line a record, the UTC time first.
extern const SegmentFormat kTextLines;
/// ELF core files, which say themselves how long they are.
extern const SegmentFormat kCoreDumps;
/// CSV of measurements: a record is a line without its time.
extern const SegmentFormat kMeasurements;

}  // namespace corvane
