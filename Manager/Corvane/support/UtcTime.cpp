#include "Corvane/support/UtcTime.h"

#include <fmt/format.h>

#include <array>
#include <ctime>

namespace corvane {

namespace {

std::string format(std::time_t time, const char* pattern) {
    tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), pattern, &parts)};
}

}  // namespace

std::string utcTime(const char* pattern) {
    return format(std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()), pattern);
}

std::string utcTimeStamp() {
    return utcTimeStamp(std::chrono::system_clock::now());
}

std::string utcTimeStamp(std::chrono::system_clock::time_point time) {
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    return fmt::format("{}.{:03}Z", format(std::chrono::system_clock::to_time_t(seconds), "%Y-%m-%dT%H:%M:%S"),
                       (milliseconds - seconds).count());
}

}  // namespace corvane
