#include "Corvane/baseband/simulated/BasebandClock.h"

#include "Corvane/support/UtcTime.h"

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
    return utcTimeStamp(setTo_ + std::chrono::duration_cast<std::chrono::system_clock::duration>(sinceHostBoot() - setAt_));
}

}  // namespace corvane::simulated
