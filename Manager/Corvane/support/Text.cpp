#include "Corvane/support/Text.h"

#include "Platform/ControlCharacters.h"

#include <algorithm>
#include <charconv>

namespace corvane {

std::string escaped(std::string_view text) {
    if (std::ranges::all_of(text, [](char character) { return character >= ' ' && character <= '~'; })) {
        return std::string(text);  // as nearly all text is
    }
    std::string line;
    for (const char character : platform::escapeControlCharacters(text)) {
        line += character == '\n' ? "\\n" : character == '\t' ? "\\t" : std::string_view(&character, 1);
    }
    return line;
}

bool isPrintable(std::string_view text) {
    return escaped(text) == text;
}

std::optional<std::int64_t> parseNumber(std::string_view text, int base) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::string_view cut(std::string_view text, std::size_t size) {
    if (text.size() <= size) {
        return text;
    }
    // A byte 10xxxxxx goes on with a character (RFC 3629, section 3).
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) {
        --size;
    }
    return text.substr(0, size);
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (std::size_t end = text.find(separator); end != std::string_view::npos; end = text.find(separator)) {
        pieces.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    pieces.push_back(text);
    return pieces;
}

}  // namespace corvane
