#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace platform {

struct Utf8Character {
    std::size_t length;  ///< in bytes, 1 to 4
    char32_t value;
};

/// The character at the start of a text that is not empty; nullopt where its bytes are not well-formed UTF-8 (RFC 3629).
std::optional<Utf8Character> firstCharacter(std::string_view text);

/// Whether all of `text` is well-formed: no overlong form, no surrogate, nothing beyond U+10FFFF.
bool isUtf8(std::string_view text);

}  // namespace platform
