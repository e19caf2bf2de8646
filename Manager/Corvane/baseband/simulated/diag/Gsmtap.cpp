#include "Corvane/baseband/simulated/diag/Gsmtap.h"

#include "Corvane/baseband/simulated/diag/BitWriter.h"

namespace corvane::simulated::gsmtap {
namespace {

// The numbers of osmocom/core/gsmtap.h.
constexpr std::uint8_t kVersion = 2;
constexpr std::uint8_t kHeaderWords = 4;
constexpr std::uint8_t kTypeLteRrc = 0x0D;
constexpr std::uint8_t kTypeLog = 0x10;
constexpr std::uint8_t kTypeLteNas = 0x12;
constexpr std::uint16_t kUplink = 0x4000;
constexpr std::uint16_t kArfcnMask = 0x3FFF;
constexpr std::uint16_t kUdpPort = 4729;
constexpr std::size_t kProcessName = 16;
constexpr std::size_t kSubsystem = 16;
constexpr std::size_t kFileName = 32;

constexpr std::size_t kIPv4Header = 20;
constexpr std::size_t kUdpHeader = 8;
constexpr std::uint8_t kUdp = 17;
constexpr std::uint32_t kLoopback = 0x7F000001;

/// `size` bytes, more than there are in `text`, filled up with zeros.
std::string field(std::string_view text, std::size_t size) {
    std::string padded(text);
    padded.resize(size);
    return padded;
}

/// The sum of RFC 1071.
std::uint32_t sum(std::string_view bytes, std::uint32_t start = 0) {
    std::uint32_t total = start;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        const std::uint32_t byte = static_cast<unsigned char>(bytes[index]);
        total += index % 2 == 0 ? byte << 8 : byte;
    }
    return total;
}

std::uint16_t checksum(std::uint32_t total) {
    while (total > 0xFFFF) {
        total = (total & 0xFFFF) + (total >> 16);
    }
    return static_cast<std::uint16_t>(~total);
}

void put(std::string& bytes, std::size_t at, std::uint16_t value) {
    bytes[at] = static_cast<char>(value >> 8);
    bytes[at + 1] = static_cast<char>(value);
}

std::string packet(std::string_view gsmtap) {
    constexpr std::size_t kIPv4Checksum = 10;
    constexpr std::size_t kUdpChecksum = kIPv4Header + 6;
    const auto udpLength = static_cast<std::uint16_t>(kUdpHeader + gsmtap.size());
    BitWriter out;
    out.bits(8, 0x45).bits(8, 0).bits(16, kIPv4Header + udpLength).bits(16, 0).bits(16, 0x4000);
    out.bits(8, 64).bits(8, kUdp).bits(16, 0).bits(32, kLoopback).bits(32, kLoopback);
    std::string bytes = out.bits(16, kUdpPort).bits(16, kUdpPort).bits(16, udpLength).bits(16, 0).text(gsmtap).take();
    put(bytes, kIPv4Checksum, checksum(sum(std::string_view(bytes).substr(0, kIPv4Header))));
    const std::uint32_t pseudoHeader = 2 * (kLoopback >> 16) + 2 * (kLoopback & 0xFFFF) + kUdp + udpLength;
    const std::uint16_t udpChecksum = checksum(sum(std::string_view(bytes).substr(kIPv4Header), pseudoHeader));
    put(bytes, kUdpChecksum, udpChecksum == 0 ? 0xFFFF : udpChecksum);  // 0 would say that there is none
    return bytes;
}

BitWriter header(std::uint8_t type, std::uint8_t subType, const Radio& radio, Direction direction) {
    const int arfcn = (radio.arfcn & kArfcnMask) | (direction == Direction::Uplink ? kUplink : 0);
    BitWriter out;
    out.bits(8, kVersion).bits(8, kHeaderWords).bits(8, type).bits(8, 0).bits(16, static_cast<std::uint16_t>(arfcn));
    out.bits(8, static_cast<std::uint8_t>(radio.signalDbm))
        .bits(8, static_cast<std::uint8_t>(radio.snrDb))
        .bits(32, radio.frameNumber);
    out.bits(8, subType).bits(8, 0).bits(8, 0).bits(8, 0);
    return out;
}

}  // namespace

std::string rrc(const Radio& radio, RrcChannel channel, std::string_view message) {
    const bool up = channel == RrcChannel::UplinkCommon || channel == RrcChannel::UplinkDedicated;
    BitWriter out = header(kTypeLteRrc, static_cast<std::uint8_t>(channel), radio, up ? Direction::Uplink : Direction::Downlink);
    return packet(out.text(message).take());
}

std::string nas(const Radio& radio, Direction direction, std::string_view message, bool secured) {
    return packet(header(kTypeLteNas, secured ? 1 : 0, radio, direction).text(message).take());
}

std::string logLine(std::chrono::system_clock::time_point time, Level level, std::string_view subsystem, std::string_view text) {
    const auto microseconds =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count());
    BitWriter out = header(kTypeLog, 0, {}, Direction::Downlink);
    out.bits(32, microseconds / 1000000).bits(32, microseconds % 1000000);
    out.text(field("baseband", kProcessName))
        .bits(32, 1)
        .bits(8, static_cast<std::uint8_t>(level))
        .text(std::string_view("\0\0\0", 3));
    out.text(field(subsystem, kSubsystem)).text(field(subsystem, kFileName)).bits(32, 0).text(text);
    return packet(out.take());
}

}  // namespace corvane::simulated::gsmtap
