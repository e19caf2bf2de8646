#include "Platform/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace platform {
namespace {

/// RFC 3629, section 4: the second byte's range depends on the first; the others are 80 to BF.
struct LeadRange {
    std::size_t length;
    unsigned char first, last;
    unsigned char secondLow, secondHigh;
};
constexpr LeadRange kLeadRanges[] = {
    {2, 0xC2, 0xDF, 0x80, 0xBF}, {3, 0xE0, 0xE0, 0xA0, 0xBF}, {3, 0xE1, 0xEC, 0x80, 0xBF}, {3, 0xED, 0xED, 0x80, 0x9F},
    {3, 0xEE, 0xEF, 0x80, 0xBF}, {4, 0xF0, 0xF0, 0x90, 0xBF}, {4, 0xF1, 0xF3, 0x80, 0xBF}, {4, 0xF4, 0xF4, 0x80, 0x8F},
};

Utf8Piece multiBytePiece(const LeadRange& range, std::string_view text) {
    for (std::size_t i = 1; i < range.length; ++i) {
        const auto low = i == 1 ? range.secondLow : static_cast<unsigned char>(0x80);
        const auto high = i == 1 ? range.secondHigh : static_cast<unsigned char>(0xBF);
        if (i == text.size() || static_cast<unsigned char>(text[i]) < low || static_cast<unsigned char>(text[i]) > high) {
            return {i, false};
        }
    }
    return {range.length, true};
}

constexpr std::size_t kWord = sizeof(std::uint64_t);

/// Eight bytes at a time, the last ones of a longer text twice.
bool isAscii(std::string_view text) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    const auto wordAt = [text](std::size_t position) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + position, kWord);
        return word;
    };
    if (text.size() < kWord) {
        return std::none_of(text.begin(), text.end(), [](char byte) { return static_cast<unsigned char>(byte) > 0x7F; });
    }
    std::uint64_t seen = wordAt(text.size() - kWord);
    for (std::size_t position = 0; position + kWord < text.size(); position += kWord) {
        seen |= wordAt(position);
    }
    return (seen & kHighBits) == 0;
}

}  // namespace

Utf8Piece firstUtf8Piece(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return {1, true};
    }
    for (const auto& range : kLeadRanges) {
        if (lead >= range.first && lead <= range.last) {
            return multiBytePiece(range, text);
        }
    }
    return {1, false};
}

bool isUtf8(std::string_view text) {
    if (isAscii(text)) {  // nearly all text here
        return true;
    }
    while (!text.empty()) {
        if (text.size() >= kWord && isAscii(text.substr(0, kWord))) {
            text.remove_prefix(kWord);
            continue;
        }
        const Utf8Piece piece = firstUtf8Piece(text);
        if (!piece.valid) {
            return false;
        }
        text.remove_prefix(piece.length);
    }
    return true;
}

}  // namespace platform
