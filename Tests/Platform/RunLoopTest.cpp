#include "Platform/RunLoop.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "support/Test.h"

namespace {

using platform::RunLoopSource;
using Clock = RunLoopSource::Clock;

constexpr int kTimes = 8;

/// Waits for one point in time after the other, and counts how often it is asked.
struct Source : RunLoopSource {
    Interest interest() override {
        ++looks;
        return {-1, 0, deadline};
    }
    void serve(short /*events*/) override {
        EXPECT_GE(Clock::now(), *deadline);
        *deadline += 5ms;
        if (++served == kTimes) {
            deadline.reset();
            later.reset();
            done.set_value();
        }
    }

    std::optional<Clock::time_point> deadline = Clock::now() + 30ms;
    std::atomic<int> looks = 0;
    int served = 0;
    std::promise<void> done;
    std::shared_ptr<Source> later;
};

TEST(RunLoop, SleepsUntilTheEarliestDeadline) {
    const auto timer = std::make_shared<Source>();
    timer->later = std::make_shared<Source>();
    *timer->later->deadline += 1h;
    platform::addToRunLoop(timer);
    platform::addToRunLoop(timer->later);
    std::thread(CFRunLoopRun).detach();  // parked for good, as the tool's main thread is
    EXPECT_EQ(timer->done.get_future().wait_for(support::kPatience), std::future_status::ready);
    EXPECT_LE(timer->looks, 2 * kTimes) << "one deadline is one wake-up";
}

}  // namespace
