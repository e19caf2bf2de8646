#include "Platform/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace platform {
namespace {

using Byte = unsigned char;

/// RFC 3629, section 4: the bytes that may begin a character, its length, and the range of its second byte. All bytes behind that
/// one are 80 to BF.
struct Lead {
    Byte first, last, length, lowest = 0x80, highest = 0xBF;
};
constexpr Lead kLeads[] = {
    {0x00, 0x7F, 1},       {0xC2, 0xDF, 2}, {0xE0, 0xE0, 3, 0xA0},
    {0xE1, 0xEC, 3},       {0xEE, 0xEF, 3}, {0xED, 0xED, 3, 0x80, 0x9F},
    {0xF0, 0xF0, 4, 0x90}, {0xF1, 0xF3, 4}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

/// Nearly all text here. Eight bytes at a time, the last ones of a longer text twice: a loop over the bytes would cost a piped
/// command 250 instructions of 8,200 more.
bool isAscii(std::string_view text) {
    std::uint64_t seen = 0;
    constexpr std::size_t kWord = sizeof seen;
    const auto look = [&](std::size_t position) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + position, kWord);
        seen |= word;
    };
    if (text.size() < kWord) {
        return std::ranges::all_of(text, [](char byte) { return static_cast<Byte>(byte) <= 0x7F; });
    }
    for (std::size_t position = 0; position + kWord < text.size(); position += kWord) {
        look(position);
    }
    look(text.size() - kWord);
    return (seen & 0x8080808080808080) == 0;
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
    if (isAscii(text)) {
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
