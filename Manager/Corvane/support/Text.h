#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Text that comes from a client or a modem is data: it passes through here before it reaches a log, a file or another user.
namespace corvane {

/// The text as one printable line: control characters, marks that turn the direction of text and bytes that are not UTF-8 become
/// "\u001b" or "\xff", an end of line "\n", a tab "\t".
std::string escaped(std::string_view text);
/// Whether `escaped` would change nothing.
bool isPrintable(std::string_view text);

/// The number that is all of `text`; nullopt when it isn't one, or has more than 64 bits.
std::optional<std::int64_t> parseNumber(std::string_view text, int base = 10);

/// The beginning of `text`, of at most `size` bytes, without a piece of a character at its end.
std::string_view cut(std::string_view text, std::size_t size);

}  // namespace corvane
