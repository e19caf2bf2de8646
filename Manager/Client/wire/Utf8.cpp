#include "Client/wire/Utf8.h"

#include <cstdint>
#include <cstring>

namespace ryn::wire {
namespace {

/// The lead bytes of the sequences of several bytes, and what the byte behind them may be (RFC 3629 section 4).
struct Lead {
    std::uint8_t first;
    std::uint8_t last;
    std::size_t length;
    std::uint8_t secondFrom;
    std::uint8_t secondTo;
};
constexpr Lead kLeads[] = {
    {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF}, {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F},
    {0xEE, 0xEF, 3, 0x80, 0xBF}, {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

/// The length of the sequence at the front, which doesn't start with an ASCII byte; 0 when it is ill-formed.
std::size_t sequenceLength(std::string_view bytes) {
    const auto byte = [&](std::size_t index) { return static_cast<std::uint8_t>(bytes[index]); };
    for (const Lead& lead : kLeads) {
        if (byte(0) < lead.first || byte(0) > lead.last) {
            continue;
        }
        if (bytes.size() < lead.length || byte(1) < lead.secondFrom || byte(1) > lead.secondTo) {
            return 0;
        }
        for (std::size_t index = 2; index < lead.length; ++index) {
            if ((byte(index) & 0xC0) != 0x80) {
                return 0;
            }
        }
        return lead.length;
    }
    return 0;
}

}  // namespace

bool isUtf8(std::string_view bytes) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    while (!bytes.empty()) {
        // Nearly all text here is ASCII: eight bytes at a time.
        if (bytes.size() >= sizeof(std::uint64_t)) {
            std::uint64_t word = 0;
            std::memcpy(&word, bytes.data(), sizeof word);
            if ((word & kHighBits) == 0) {
                bytes.remove_prefix(sizeof word);
                continue;
            }
        }
        const std::size_t length = static_cast<std::uint8_t>(bytes.front()) < 0x80 ? 1 : sequenceLength(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

}  // namespace ryn::wire
