#include "Corvane/baseband/simulated/BasebandClock.h"

#include <fmt/format.h>

#include <array>
#include <ctime>

namespace corvane::simulated {
namespace {

std::chrono::nanoseconds sinceHostBoot() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace

void BasebandClock::set(std::chrono::milliseconds error) {
    setTo_ = std::chrono::system_clock::now() + error;
    setAt_ = sinceHostBoot();
}

std::string BasebandClock::text() const {
    const auto now = setTo_ + std::chrono::duration_cast<std::chrono::system_clock::duration>(sinceHostBoot() - setAt_);
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    const std::time_t wholeSeconds = milliseconds / 1000;
    std::tm utc{};
    gmtime_r(&wholeSeconds, &utc);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%FT%T", &utc);
    return fmt::format("{}.{:03}Z", date.data(), milliseconds % 1000);
}

}  // namespace corvane::simulated
