#include "Platform/ControlCharacters.h"

#include "Platform/Utf8.h"

#include <cstdio>

namespace platform {
namespace {

constexpr char32_t kFirstPrintable = 0x20;
constexpr char32_t kDelete = 0x7F;
constexpr char32_t kLastC1 = 0x9F;
constexpr unsigned kPayloadBits = 6;

bool isControl(char32_t character) {
    if (character < kFirstPrintable) {
        return character != '\n' && character != '\t';
    }
    return (character >= kDelete && character <= kLastC1) || character == 0x061C ||  // Arabic letter mark
           character == 0x200E || character == 0x200F ||                             // left-to-right, right-to-left mark
           (character >= 0x202A && character <= 0x202E) ||                           // embeddings and overrides
           (character >= 0x2066 && character <= 0x2069);                             // isolates
}

/// @param piece one well-formed character
char32_t characterOf(std::string_view piece) {
    // A lead byte's length stands in its highest bits (RFC 3629, section 3).
    auto character = static_cast<unsigned char>(piece.front()) & (piece.size() == 1 ? 0x7FU : 0xFFU >> (piece.size() + 1));
    for (const char byte : piece.substr(1)) {
        character = character << kPayloadBits | (static_cast<unsigned char>(byte) & 0x3FU);
    }
    return character;
}

}  // namespace

std::string escapeControlCharacters(std::string_view text) {
    std::string escaped;
    while (!text.empty()) {
        const auto [length, valid] = firstUtf8Piece(text);
        const auto piece = text.substr(0, length);
        const char32_t character = valid ? characterOf(piece) : static_cast<unsigned char>(piece.front());
        if (valid && !isControl(character)) {
            escaped += piece;
            text.remove_prefix(length);
            continue;
        }
        char shown[sizeof "\\u0000"];
        std::snprintf(shown, sizeof shown, valid ? "\\u%04x" : "\\x%02x", static_cast<unsigned>(character));
        escaped += shown;
        text.remove_prefix(valid ? length : 1);
    }
    return escaped;
}

}  // namespace platform
