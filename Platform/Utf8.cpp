#include "Platform/Utf8.h"

#include <bit>
#include <functional>
#include <iterator>
#include <numeric>

namespace platform {

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
    // Nearly all text is ASCII, and all its bytes together are looked at many at a time.
    const char seen = std::accumulate(text.begin(), text.end(), char{}, std::bit_or<char>());
    if (static_cast<unsigned char>(seen) < 0x80) {
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
