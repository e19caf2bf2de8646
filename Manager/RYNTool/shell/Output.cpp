#include "shell/Output.h"

#include <atomic>
#include <charconv>
#include <limits>

namespace output {
namespace {

std::atomic<bool> isHexadecimal = false;

void write(std::FILE* stream, std::initializer_list<std::string_view> parts, std::string_view end) {
    std::size_t length = end.size();
    for (const std::string_view part : parts) {
        length += part.size();
    }
    std::string text;
    text.reserve(length);
    for (const std::string_view part : parts) {
        text += part;
    }
    text += end;
    const auto lock = hold();
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

template <typename Number>
std::string inBase(int base, Number value) {
    char digits[std::numeric_limits<Number>::digits10 + 2];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), value, base).ptr;
    return {digits, end};
}

}  // namespace

void printLine(std::FILE* stream, std::initializer_list<std::string_view> parts) {
    write(stream, parts, "\n");
}

void print(std::FILE* stream, std::initializer_list<std::string_view> parts) {
    write(stream, parts, "");
}

std::string number(std::int32_t value) {
    return isHexadecimal ? number(static_cast<std::uint32_t>(value)) : inBase(10, value);
}

std::string number(std::uint32_t value) {
    return inBase(isHexadecimal ? 16 : 10, value);
}

void useHexadecimal() {
    isHexadecimal = true;
}

std::unique_lock<std::recursive_mutex> hold() {
    static std::recursive_mutex mutex;
    return std::unique_lock(mutex);
}

}  // namespace output
