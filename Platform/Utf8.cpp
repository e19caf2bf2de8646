#include "Platform/Utf8.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace platform {
namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t);

std::uint64_t wordAt(const char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, kWord);
    return word;
}

/// Nearly all text is. Eight bytes at a time, the last ones of a longer text twice: a loop over the bytes costs a piped command
/// 250 instructions of 8,200 more.
bool isAscii(std::string_view text) {
    if (text.size() < kWord) {
        return std::ranges::all_of(text, [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
    }
    std::uint64_t seen = wordAt(text.end() - kWord);
    for (; text.size() > kWord; text.remove_prefix(kWord)) {
        seen |= wordAt(text.data());
    }
    return (seen & 0x8080808080808080) == 0;
}

}  // namespace

std::optional<Utf8Character> firstCharacter(std::string_view text) {
    // The lowest character that takes so many bytes; none is announced as taking one, for such a byte goes on a character.
    constexpr char32_t kLowest[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text.front());
    const auto announced = static_cast<unsigned>(std::countl_one(first));
    if (announced == 1 || announced >= std::size(kLowest) || announced > text.size()) {
        return std::nullopt;
    }
    char32_t value = first & (0xFFU >> (announced + 1));
    for (std::size_t index = 1; index < announced; ++index) {
        const auto byte = static_cast<unsigned char>(text[index]);
        if (std::countl_one(byte) != 1) {
            return std::nullopt;
        }
        value = value << 6U | (byte & 0x3FU);
    }
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < kLowest[announced] || isSurrogate || value > 0x10FFFF) {
        return std::nullopt;
    }
    return Utf8Character{announced == 0 ? 1 : announced, value};
}

bool isUtf8(std::string_view text) {
    if (isAscii(text)) {
        return true;
    }
    while (!text.empty()) {
        const auto character = firstCharacter(text);
        if (!character) {
            return false;
        }
        text.remove_prefix(character->length);
    }
    return true;
}

}  // namespace platform
