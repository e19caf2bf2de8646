#include "Corvane/support/Log.h"

#include "Platform/FileDescriptor.h"
#include "support/Test.h"

#include <sys/syscall.h>

#include <ctime>

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

TEST(Log, SaysHowManyLinesNobodyTook) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    const platform::FileDescriptor reader(ends[0]), before(dup(STDERR_FILENO));
    dup2(platform::FileDescriptor(ends[1]).get(), STDERR_FILENO);
    const auto read = [&reader] {
        std::string text(1 << 20, '\0');
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(::read(reader.get(), text.data(), text.size()), 0)));
        return text;
    };
    while (write(STDERR_FILENO, "full", 4) > 0) {
    }
    log::error("lost");
    log::error("lost too");
    read();
    log::error("taken");
    log::error("too");
    dup2(before.get(), STDERR_FILENO);
    EXPECT_EQ(read(), "Corvane: 2 lines are missing here: nobody took them\nCorvane: taken\nCorvane: too\n");
}

}  // namespace
}  // namespace corvane

/// In place of the C library's.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    if (clock == CLOCK_MONOTONIC_COARSE) {
        *now = {corvane::coarseSeconds, 0};
        return 0;
    }
#ifdef SYS_clock_gettime64  // where a long has 32 bits
    return static_cast<int>(syscall(SYS_clock_gettime64, clock, now));
#else
    return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
#endif
}
