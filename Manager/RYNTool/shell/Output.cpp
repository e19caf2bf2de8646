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
    std::string& text = unwritten();
    for (const std::string_view part : parts) {
        text += part;
    }
}

void writeTo(Stream stream) {
    const int error = platform::writeStandardStream(stream, unwritten());
    unwritten().clear();
    if (error != 0 && !lost.exchange(true)) {
        platform::writeStandardStream(Stream::Error, std::string("ryntool: output is lost: ") + std::strerror(error) + "\n");
    }
}

}  // namespace

void printError(Parts parts) {
    printLine(parts, Stream::Error);
}

void printLine(Parts parts, Stream stream) {
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

std::string number(std::int64_t value) {
    char digits[std::numeric_limits<std::int64_t>::digits10 + 2];
    const auto result = isHexadecimal ? std::to_chars(std::begin(digits), std::end(digits), static_cast<std::uint32_t>(value), 16)
                                      : std::to_chars(std::begin(digits), std::end(digits), value);
    return {digits, result.ptr};
}

void useHexadecimal() {
    isHexadecimal = true;
}

std::unique_lock<std::recursive_mutex> hold() {
    static std::recursive_mutex mutex;
    return std::unique_lock(mutex);
}

}  // namespace output
