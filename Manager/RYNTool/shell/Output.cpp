#include "shell/Output.h"

#include <ostream>
#include <sstream>

namespace output {
namespace {

std::string joined(std::initializer_list<std::string_view> parts, std::string_view end) {
    std::size_t length = end.size();
    for (const std::string_view part : parts) {
        length += part.size();
    }
    std::string text;
    text.reserve(length);
    for (const std::string_view part : parts) {
        text += part;
    }
    return text += end;
}

template <typename Number>
std::string formatted(const std::ostream& stream, Number number) {
    std::ostringstream text;
    text.flags(stream.flags());
    text << number;
    return text.str();
}

}  // namespace

void printLine(std::ostream& stream, std::initializer_list<std::string_view> parts) {
    const std::string line = joined(parts, "\n");
    const auto lock = hold();
    stream.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
}

void print(std::ostream& stream, std::initializer_list<std::string_view> parts) {
    const std::string text = joined(parts, "");
    const auto lock = hold();
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::string numberFor(const std::ostream& stream, int number) {
    return formatted(stream, number);
}

std::string numberFor(const std::ostream& stream, unsigned number) {
    return formatted(stream, number);
}

std::unique_lock<std::recursive_mutex> hold() {
    static std::recursive_mutex mutex;
    return std::unique_lock(mutex);
}

}  // namespace output
