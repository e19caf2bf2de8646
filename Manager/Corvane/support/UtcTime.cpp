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
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return fmt::format("{}.{:03}Z", format(now, "%Y-%m-%dT%H:%M:%S"), now.tv_nsec / 1000000);
}

}  // namespace corvane
