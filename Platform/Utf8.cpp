#include "Platform/Utf8.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>

namespace platform {
namespace {

// RFC 3629, section 4, as an automaton. Each state expects a byte of one range; what may begin a character depends on its range.
enum State : std::uint8_t { kWhole, kBroken, kOneMore, kTwoMore, kThreeMore, kAfterE0, kAfterED, kAfterF0, kAfterF4 };

struct Step {
    State from;
    unsigned char first, last;
    State to;
};
constexpr Step kSteps[] = {
    {kWhole, 0x00, 0x7F, kWhole},     {kWhole, 0xC2, 0xDF, kOneMore},   {kWhole, 0xE0, 0xE0, kAfterE0},
    {kWhole, 0xE1, 0xEC, kTwoMore},   {kWhole, 0xED, 0xED, kAfterED},   {kWhole, 0xEE, 0xEF, kTwoMore},
    {kWhole, 0xF0, 0xF0, kAfterF0},   {kWhole, 0xF1, 0xF3, kThreeMore}, {kWhole, 0xF4, 0xF4, kAfterF4},
    {kOneMore, 0x80, 0xBF, kWhole},   {kTwoMore, 0x80, 0xBF, kOneMore}, {kThreeMore, 0x80, 0xBF, kTwoMore},
    {kAfterE0, 0xA0, 0xBF, kOneMore}, {kAfterED, 0x80, 0x9F, kOneMore}, {kAfterF0, 0x90, 0xBF, kTwoMore},
    {kAfterF4, 0x80, 0x8F, kTwoMore},
};

/// For each byte, the state that follows each state. A state stands as its place in these words, so that a step is one shift.
constexpr std::uint64_t kStateBits = 6;
using Follow = std::array<std::uint64_t, 256>;

constexpr Follow followersOf(std::span<const Step> steps) {
    Follow follow{};
    for (auto& states : follow) {
        for (unsigned state = kWhole; state <= kAfterF4; ++state) {
            states |= std::uint64_t{kBroken} * kStateBits << state * kStateBits;
        }
    }
    for (const Step& step : steps) {
        for (unsigned byte = step.first; byte <= step.last; ++byte) {
            follow[byte] ^= std::uint64_t{kBroken * kStateBits ^ step.to * kStateBits} << step.from * kStateBits;
        }
    }
    return follow;
}
constexpr Follow kFollow = followersOf(kSteps);

/// @param place of the state before
constexpr std::uint64_t placeAfter(std::uint64_t place, char byte) {
    return kFollow[static_cast<unsigned char>(byte)] >> (place & 63U);
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
    std::uint64_t place = kWhole;
    for (std::size_t length = 0; length < text.size(); ++length) {
        place = placeAfter(place, text[length]) & 63U;
        if (place == kWhole) {
            return {length + 1, true};
        }
        if (place == kBroken * kStateBits) {
            return {std::max<std::size_t>(length, 1), false};
        }
    }
    return {text.size(), false};
}

bool isUtf8(std::string_view text) {
    if (isAscii(text)) {  // nearly all text here
        return true;
    }
    std::uint64_t place = kWhole;
    for (const char byte : text) {
        place = placeAfter(place, byte);
    }
    return (place & 63U) == kWhole;
}

}  // namespace platform
