#include "Corvane/support/UtcTime.h"

#include <fmt/format.h>

#include <array>
#include <ctime>

namespace corvane {

namespace {

std::string format(const timespec& time, const char* format) {
    tm parts{};
    gmtime_r(&time.tv_sec, &parts);
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
}

}  // namespace

std::string utcTime(const char* pattern) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return format(now, pattern);
}

std::string utcTimeStamp() {
    return utcTimeStamp(std::chrono::system_clock::now());
}

std::string utcTimeStamp(std::chrono::system_clock::time_point time) {
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    return fmt::format("{}.{:03}Z", format({std::chrono::system_clock::to_time_t(seconds), 0}, "%Y-%m-%dT%H:%M:%S"),
                       (milliseconds - seconds).count());
}

}  // namespace corvane
