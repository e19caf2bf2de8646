#include "Corvane/loop/Timer.h"
#include "Corvane/loop/Watch.h"

#include <gtest/gtest.h>
#include <sys/timerfd.h>

#include <chrono>

namespace corvane {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// What a request does on a loop that has been idle: it arms a timer while sd-event sleeps, long after its last iteration.
TEST(LoopTest, ATimerThatIsSetWhileADescriptorIsServedCountsFromThatMoment) {
    constexpr auto kIdle = 300ms;
    constexpr auto kDelay = 100ms;
    const auto loop = std::move(*Loop::make());
    const platform::FileDescriptor request(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
    const itimerspec soon{{}, {0, std::chrono::nanoseconds(kIdle).count()}};
    timerfd_settime(request.get(), 0, &soon, nullptr);
    Timer timer(*loop);
    Timer hang(*loop);
    Clock::time_point set;
    Clock::time_point expired;
    bool hung = false;
    const Watch watch(*loop, request.get(), Watch::Order::Fair, [&] {
        std::uint64_t times = 0;
        ASSERT_EQ(read(request.get(), &times, sizeof times), ssize_t{sizeof times});
        set = Clock::now();
        timer.set(kDelay, [&] { expired = Clock::now(); });
    });
    timer.set(0ms, [] {});
    ASSERT_TRUE(loop->turn());
    hang.set(5s, [&] { hung = true; });
    while (expired == Clock::time_point() && !hung) {
        ASSERT_TRUE(loop->turn());
    }
    EXPECT_GE(expired - set, kDelay);
    EXPECT_FALSE(hung);
}

}  // namespace
}  // namespace corvane
