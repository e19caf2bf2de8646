#include "shell/Output.h"

#include <atomic>
#include <charconv>
#include <cstring>
#include <limits>
#include <memory>

namespace output {
namespace {

std::atomic<bool> isHexadecimal = false;
std::atomic<bool> lost = false;

/// The start of a line of standard output that waits for its end. Guarded by hold(). Never destroyed, because the queue's thread
/// may print until the process has ended.
std::string& unwritten() {
    static std::string* const text = std::make_unique<std::string>().release();
    return *text;
}

void append(Parts parts) {
    for (const std::string_view part : parts) {
        unwritten() += part;
    }
}

void writeTo(Stream stream) {
    const int error = platform::writeStandardStream(stream, unwritten());
    unwritten().clear();
    if (error != 0 && !lost.exchange(true)) {
        platform::writeStandardStream(Stream::Error, std::string("ryntool: output is lost: ") + std::strerror(error) + "\n");
    }
}

template <typename Number>
std::string inBase(int base, Number value) {
    char digits[std::numeric_limits<Number>::digits10 + 2];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), value, base).ptr;
    return {digits, end};
}

}  // namespace

void printLine(Parts parts) {
    printLine(Stream::Output, parts);
}

void printError(Parts parts) {
    printLine(Stream::Error, parts);
}

void printLine(Stream stream, Parts parts) {
    const auto lock = hold();
    if (stream != Stream::Output) {
        flush();  // what was printed first shows first
    }
    append(parts);
    append({"\n"});
    writeTo(stream);
}

void print(Parts parts) {
    const auto lock = hold();
    append(parts);
}

void flush() {
    const auto lock = hold();
    if (!unwritten().empty()) {
        writeTo(Stream::Output);
    }
}

bool isLost() {
    return lost;
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
