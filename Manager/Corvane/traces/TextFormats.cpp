#include "Corvane/support/UtcTime.h"
#include "Corvane/traces/SegmentFormat.h"

#include <fmt/format.h>

namespace corvane {

namespace {

/// A record may come from a modem: a line feed or another control character in it must not look like a line of ours.
void appendEscaped(std::string& out, std::string_view record) {
    for (const char character : record) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte != 0x7F) {
            out += character;
        } else {
            out += fmt::format("\\x{:02x}", byte);
        }
    }
}

void appendLine(std::string& out, TraceTime time, std::string_view record, std::uint64_t lost) {
    const std::string stamp = utcTimeStamp(time);
    if (lost != 0) {
        out += fmt::format("{} {} lines are lost\n", stamp, lost);
    }
    out.append(stamp).append(" ");
    appendEscaped(out, record);
    out += '\n';
}

void appendMeasurement(std::string& out, TraceTime time, std::string_view record, std::uint64_t) {
    out.append(utcTimeStamp(time)).append(",");
    appendEscaped(out, record);
    out += '\n';
}

std::size_t wholeLines(std::string_view segment) {
    const std::size_t end = segment.rfind('\n');
    return end == std::string_view::npos ? 0 : end + 1;
}

}  // namespace

const SegmentFormat kTextLines{".txt", "", appendLine, wholeLines};
const SegmentFormat kMeasurements{".csv", "UTC time,technology,operator,cell,RSRP dBm,RSRQ dB,SNR dB\n", appendMeasurement,
                                  wholeLines};

}  // namespace corvane
