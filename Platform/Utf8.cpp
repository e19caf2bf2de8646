#include "Platform/Utf8.h"

#include <algorithm>
#include <iterator>

namespace platform {
namespace {

using Byte = unsigned char;

/// RFC 3629, section 4: the bytes that may begin a character, its length, and the range of its second byte. All bytes behind that
/// one are 80 to BF.
struct Lead {
    Byte first, last;
    std::size_t length;
    Byte lowest = 0x80, highest = 0xBF;
};
constexpr Lead kLeads[] = {
    {0x00, 0x7F, 1},       {0xC2, 0xDF, 2}, {0xE0, 0xE0, 3, 0xA0},
    {0xE1, 0xEC, 3},       {0xEE, 0xEF, 3}, {0xED, 0xED, 3, 0x80, 0x9F},
    {0xF0, 0xF0, 4, 0x90}, {0xF1, 0xF3, 4}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

bool isAscii(std::string_view text) {
    Byte seen = 0;
    for (const char byte : text) {  // all of it: the compiler takes many bytes at a time
        seen |= static_cast<Byte>(byte);
    }
    return seen < 0x80;
}

}  // namespace

Utf8Piece firstUtf8Piece(std::string_view text) {
    const auto first = static_cast<Byte>(text.front());
    const auto* const lead =
        std::ranges::find_if(kLeads, [first](const Lead& row) { return row.first <= first && first <= row.last; });
    if (lead == std::end(kLeads)) {
        return {1, {}};
    }
    char32_t character = lead->length == 1 ? first : first & (0x7FU >> lead->length);
    for (std::size_t length = 1; length < lead->length; ++length) {
        const auto byte = length < text.size() ? static_cast<Byte>(text[length]) : Byte{0};
        const bool isSecond = length == 1;
        if (byte < (isSecond ? lead->lowest : 0x80) || byte > (isSecond ? lead->highest : 0xBF)) {
            return {length, {}};
        }
        character = character << 6U | (byte & 0x3FU);
    }
    return {lead->length, character};
}

bool isUtf8(std::string_view text) {
    if (isAscii(text)) {  // nearly all text here
        return true;
    }
    while (!text.empty()) {
        const auto [length, character] = firstUtf8Piece(text);
        if (!character) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

}  // namespace platform
