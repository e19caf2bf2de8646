#include "Corvane/traces/SegmentFormat.h"

#include <cstring>

namespace corvane {

namespace {

constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A;
constexpr std::uint32_t kInterfaceDescription = 1;
constexpr std::uint32_t kEnhancedPacket = 6;
constexpr std::uint32_t kByteOrderMagic = 0x1A2B3C4D;  // readers see from it that blocks are in this host's byte order
constexpr std::uint16_t kLinkTypeIPv4 = 228;
constexpr std::uint16_t kOptionDropCount = 4;
constexpr std::size_t kShortestBlock = 12;

struct Block {
    std::uint32_t type;
    std::uint32_t length;
};

struct SectionHeader {
    Block block{kSectionHeader, sizeof(SectionHeader)};
    std::uint32_t magic = kByteOrderMagic;
    std::uint16_t major = 1;
    std::uint16_t minor = 0;
    std::uint32_t sectionLength[2] = {0xFFFFFFFF, 0xFFFFFFFF};  // not known
    std::uint32_t trailer = sizeof(SectionHeader);
};
static_assert(sizeof(SectionHeader) == 28);

struct InterfaceDescription {
    Block block{kInterfaceDescription, sizeof(InterfaceDescription)};
    std::uint16_t linkType = kLinkTypeIPv4;
    std::uint16_t reserved = 0;
    std::uint32_t snapLength = 0;  // without a limit
    std::uint32_t trailer = sizeof(InterfaceDescription);
};
static_assert(sizeof(InterfaceDescription) == 20);

struct EnhancedPacket {
    Block block;
    std::uint32_t interface;
    std::uint32_t microseconds[2];  // since 1970, the upper half first
    std::uint32_t captured;
    std::uint32_t original;
};
static_assert(sizeof(EnhancedPacket) == 28);

struct DropCount {
    std::uint16_t code = kOptionDropCount;
    std::uint16_t length = 8;
    std::uint32_t count[2];  // 64 bits in this host's byte order, not aligned
    std::uint32_t endOfOptions = 0;
};
static_assert(sizeof(DropCount) == 16);

template <typename T>
void appendBytes(std::string& out, const T& value) {
    out.append(reinterpret_cast<const char*>(&value), sizeof(value));
}

std::string header() {
    std::string out;
    appendBytes(out, SectionHeader{});
    appendBytes(out, InterfaceDescription{});
    return out;
}

void append(std::string& out, TraceTime time, std::string_view packet, std::uint64_t lost) {
    constexpr char kPadding[4] = {};
    const std::size_t padding = (4 - packet.size() % 4) % 4;
    const std::size_t options = lost == 0 ? 0 : sizeof(DropCount);
    const auto length =
        static_cast<std::uint32_t>(sizeof(EnhancedPacket) + packet.size() + padding + options + sizeof(Block::length));
    const auto size = static_cast<std::uint32_t>(packet.size());
    const auto time64 =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count());
    appendBytes(out, EnhancedPacket{{kEnhancedPacket, length},
                                    0,
                                    {static_cast<std::uint32_t>(time64 >> 32), static_cast<std::uint32_t>(time64)},
                                    size,
                                    size});
    out.append(packet).append(kPadding, padding);
    if (lost != 0) {
        DropCount drops;
        std::memcpy(drops.count, &lost, sizeof(lost));
        appendBytes(out, drops);
    }
    appendBytes(out, length);
}

std::size_t wholeLength(std::string_view segment) {
    std::size_t whole = 0;
    while (segment.size() - whole >= kShortestBlock) {
        Block block{};
        std::memcpy(&block, segment.data() + whole, sizeof(block));
        std::uint32_t trailer = 0;
        if (block.length < kShortestBlock || block.length % 4 != 0 || block.length > segment.size() - whole) {
            break;
        }
        std::memcpy(&trailer, segment.data() + whole + block.length - sizeof(trailer), sizeof(trailer));
        if (trailer != block.length) {
            break;
        }
        whole += block.length;
    }
    return whole < sizeof(SectionHeader) + sizeof(InterfaceDescription) ? 0 : whole;
}

}  // namespace

const SegmentFormat kPcapng{".pcapng", header(), append, wholeLength};

}  // namespace corvane
