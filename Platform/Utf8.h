#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace platform {

/// What stands at the start of a text: one well-formed UTF-8 character (RFC 3629), or the bytes that one replacement character
/// stands for (Unicode, section 3.9: the longest piece that could have begun a character, at least one byte).
struct Utf8Piece {
    std::size_t length;                 ///< in bytes, 1 to 4
    std::optional<char32_t> character;  ///< absent: not well-formed
};

/// @param text not empty
Utf8Piece firstUtf8Piece(std::string_view text);

/// Whether all of `text` is well-formed: no overlong form, no surrogate, nothing beyond U+10FFFF.
bool isUtf8(std::string_view text);

}  // namespace platform
