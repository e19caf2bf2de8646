#include "Platform/RunLoop.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "support/Test.h"

namespace {

constexpr int kTimes = 8;

/// Waits for one point in time after the other, and counts how often it is asked.
struct Timer : platform::RunLoopSource {
    Interest interest() override {
        ++looks;
        return {-1, 0, deadline};
    }
    void serve(short) override {
        EXPECT_GE(Clock::now(), deadline);
        deadline += 5ms;
        if (++served == kTimes) {
            deadline = Clock::time_point::max();
            done.set_value();
        }
    }

    Clock::time_point deadline = Clock::now() + 30ms;
    std::atomic<int> looks = 0;
    int served = 0;
    std::promise<void> done;
};

TEST(RunLoop, SleepsUntilTheEarliestDeadline) {
    const auto timer = std::make_shared<Timer>();
    const auto later = std::make_shared<Timer>();
    later->deadline += 1h;
    platform::addToRunLoop(timer);
    platform::addToRunLoop(later);
    std::thread(CFRunLoopRun).detach();  // parked for good, as the tool's main thread is
    EXPECT_EQ(timer->done.get_future().wait_for(support::kPatience), std::future_status::ready);
    EXPECT_LE(timer->looks, 2 * kTimes) << "one deadline is one wake-up";
}

}  // namespace
