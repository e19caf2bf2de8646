#include "Corvane/baseband/simulated/diag/Gsmtap.h"

#include <algorithm>

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

/// Appends numbers in the order of the network.
class Writer {
public:
    Writer& u8(std::uint8_t value) {
        bytes_ += static_cast<char>(value);
        return *this;
    }
    Writer& u16(std::uint16_t value) { return u8(static_cast<std::uint8_t>(value >> 8)).u8(static_cast<std::uint8_t>(value)); }
    Writer& u32(std::uint32_t value) {
        return u16(static_cast<std::uint16_t>(value >> 16)).u16(static_cast<std::uint16_t>(value));
    }
    Writer& text(std::string_view text) {
        bytes_ += text;
        return *this;
    }
    /// A field of `size` bytes, more than there are in `text`, filled up with zeros.
    Writer& field(std::string_view text, std::size_t size) {
        bytes_.append(text).append(size - text.size(), '\0');
        return *this;
    }
    std::string bytes_;
};

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
    Writer out;
    out.bytes_.reserve(kIPv4Header + udpLength);
    out.u8(0x45).u8(0).u16(static_cast<std::uint16_t>(kIPv4Header + udpLength)).u16(0).u16(0x4000);
    out.u8(64).u8(kUdp).u16(0).u32(kLoopback).u32(kLoopback);
    out.u16(kUdpPort).u16(kUdpPort).u16(udpLength).u16(0).text(gsmtap);
    put(out.bytes_, kIPv4Checksum, checksum(sum(std::string_view(out.bytes_).substr(0, kIPv4Header))));
    const std::uint32_t pseudoHeader = 2 * (kLoopback >> 16) + 2 * (kLoopback & 0xFFFF) + kUdp + udpLength;
    const std::uint16_t udpChecksum = checksum(sum(std::string_view(out.bytes_).substr(kIPv4Header), pseudoHeader));
    put(out.bytes_, kUdpChecksum, udpChecksum == 0 ? 0xFFFF : udpChecksum);  // 0 would say that there is none
    return std::move(out.bytes_);
}

Writer header(std::uint8_t type, std::uint8_t subType, const Radio& radio, Direction direction) {
    const int arfcn = (radio.arfcn & kArfcnMask) | (direction == Direction::Uplink ? kUplink : 0);
    Writer out;
    out.u8(kVersion).u8(kHeaderWords).u8(type).u8(0).u16(static_cast<std::uint16_t>(arfcn));
    out.u8(static_cast<std::uint8_t>(radio.signalDbm)).u8(static_cast<std::uint8_t>(radio.snrDb)).u32(radio.frameNumber);
    out.u8(subType).u8(0).u8(0).u8(0);
    return out;
}

}  // namespace

std::string rrc(const Radio& radio, RrcChannel channel, std::string_view message) {
    const bool up = channel == RrcChannel::UplinkCommon || channel == RrcChannel::UplinkDedicated;
    Writer out = header(kTypeLteRrc, static_cast<std::uint8_t>(channel), radio, up ? Direction::Uplink : Direction::Downlink);
    return packet(out.text(message).bytes_);
}

std::string nas(const Radio& radio, Direction direction, std::string_view message, bool secured) {
    return packet(header(kTypeLteNas, secured ? 1 : 0, radio, direction).text(message).bytes_);
}

std::string logLine(std::chrono::system_clock::time_point time, Level level, std::string_view subsystem, std::string_view text) {
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
    Writer out = header(kTypeLog, 0, {}, Direction::Downlink);
    out.u32(static_cast<std::uint32_t>(microseconds / 1000000)).u32(static_cast<std::uint32_t>(microseconds % 1000000));
    out.field("baseband", kProcessName).u32(1).u8(static_cast<std::uint8_t>(level)).text(std::string_view("\0\0\0", 3));
    out.field(subsystem, kSubsystem).field(subsystem, kFileName).u32(0).text(text);
    return packet(out.bytes_);
}

}  // namespace corvane::simulated::gsmtap
