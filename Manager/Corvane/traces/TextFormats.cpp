#include "Corvane/support/UtcTime.h"
#include "Corvane/traces/SegmentFormat.h"

namespace corvane {

namespace {

/// A record may come from a modem: a line feed or another control character in it must not look like a line of ours.
void appendEscaped(std::string& out, std::string_view record) {
    constexpr const char* kDigits = "0123456789abcdef";
    for (const char character : record) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte != 0x7F) {
            out += character;
        } else {
            out.append("\\x").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 15]);
        }
    }
}

void appendLine(std::string& out, TraceTime time, std::string_view record, std::uint64_t lost) {
    const std::string stamp = utcTimeStamp(time);
    if (lost != 0) {
        out.append(stamp).append(" ").append(std::to_string(lost)).append(" lines are lost\n");
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
