#pragma once

#include <string>
#include <string_view>

namespace platform {

/// The text with "\u001b" in place of a character that makes a terminal do something else than show it, and "\xff" in place of a
/// byte that is not UTF-8. Such characters are C0 but for tab and end of line, DEL, C1, and the marks that turn the direction of
/// text (Unicode, section 23.2).
std::string escapeControlCharacters(std::string_view text);

}  // namespace platform
