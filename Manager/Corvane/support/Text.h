#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

/// The pieces of `text` between the separators: one more than there are of these.
std::vector<std::string_view> split(std::string_view text, char separator);

/// All `items`, as in a sentence: "a, b or c". @param last stands between the last two. @param nameOf makes a text of each.
template <typename Items, typename NameOf = std::identity>
std::string listed(const Items& items, std::string_view last, NameOf nameOf = {}) {
    std::string list;
    std::size_t left = std::size(items);
    for (const auto& item : items) {
        list.append(list.empty() ? "" : left == 1 ? last : ", ").append(std::invoke(nameOf, item));
        --left;
    }
    return list;
}

}  // namespace corvane
