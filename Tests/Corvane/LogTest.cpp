#include "Corvane/support/Log.h"

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#include <string>

namespace corvane {
namespace {

std::time_t coarseSeconds = 1000;  ///< what the kernel's coarse clock shows

TEST(Log, SaysAMinuteLaterHowManyLinesOfOneClientWereLeftOut) {
    std::string said;
    const log::Copy copy([&said](std::string_view line) { said.append(line).append("\n"); });
    log::RateLimited limit(2);
    for (const char* line : {"1", "2", "3", "4"}) {
        limit.write(log::Level::Info, line);
    }
    coarseSeconds = 1059;
    limit.write(log::Level::Info, "5");
    coarseSeconds = 1060;
    const log::RateLimited::Scope limited(&limit);
    for (const char* line : {"6", "7", "8"}) {
        log::info(line);
    }
    coarseSeconds = 1120;
    log::debug("nobody's");
    log::info("9");
    EXPECT_EQ(said, "1\n2\n6 (and 3 more that were left out)\n7\n9 (and 1 more that were left out)\n");
}

}  // namespace
}  // namespace corvane

/// In place of the C library's.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    if (clock == CLOCK_MONOTONIC_COARSE) {
        *now = {corvane::coarseSeconds, 0};
        return 0;
    }
    return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
}
