#include "Platform/ControlCharacters.h"

#include "Platform/Utf8.h"

#include <cstdio>

namespace platform {
namespace {

constexpr char32_t kFirstPrintable = 0x20;
constexpr char32_t kDelete = 0x7F;
constexpr char32_t kLastC1 = 0x9F;

bool isControl(char32_t character) {
    if (character < kFirstPrintable) {
        return character != '\n' && character != '\t';
    }
    return (character >= kDelete && character <= kLastC1) || character == 0x061C ||  // Arabic letter mark
           character == 0x200E || character == 0x200F ||                             // left-to-right, right-to-left mark
           (character >= 0x202A && character <= 0x202E) ||                           // embeddings and overrides
           (character >= 0x2066 && character <= 0x2069);                             // isolates
}

}  // namespace

std::string escapeControlCharacters(std::string_view text) {
    std::string escaped;
    while (!text.empty()) {
        const auto character = firstCharacter(text);
        const std::size_t length = character ? character->length : 1;
        if (character && !isControl(character->value)) {
            escaped += text.substr(0, length);
        } else {
            char escape[sizeof "\\u0000"];
            const unsigned code = character ? character->value : static_cast<unsigned char>(text.front());
            std::snprintf(escape, sizeof escape, character ? "\\u%04x" : "\\x%02x", code);
            escaped += escape;
        }
        text.remove_prefix(length);
    }
    return escaped;
}

}  // namespace platform
