#include "shell/Output.h"

#include <atomic>
#include <charconv>
#include <limits>
#include <memory>

namespace output {
namespace {

std::atomic<bool> isHexadecimal = false;

/// What of standard output's present line is not written yet, and room for the next line. Guarded by hold(); never destroyed,
/// since the queue's thread may print until the very end.
std::string& unwritten() {
    static std::string* const text = std::make_unique<std::string>().release();
    return *text;
}

void append(std::initializer_list<std::string_view> parts) {
    for (const std::string_view part : parts) {
        unwritten() += part;
    }
}

void writeTo(std::FILE* stream) {
    std::fwrite(unwritten().data(), 1, unwritten().size(), stream);
    std::fflush(stream);
    unwritten().clear();
}

template <typename Number>
std::string inBase(int base, Number value) {
    char digits[std::numeric_limits<Number>::digits10 + 2];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), value, base).ptr;
    return {digits, end};
}

}  // namespace

void printLine(std::FILE* stream, std::initializer_list<std::string_view> parts) {
    const auto lock = hold();
    if (stream != stdout) {
        flush();  // what was printed first shows first
    }
    append(parts);
    append({"\n"});
    writeTo(stream);
}

void print(std::initializer_list<std::string_view> parts) {
    const auto lock = hold();
    append(parts);
}

void flush() {
    const auto lock = hold();
    if (!unwritten().empty()) {
        writeTo(stdout);
    }
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
