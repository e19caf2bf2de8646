#include "Platform/RunLoop.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "support/Test.h"

namespace {

using platform::RunLoopSource;
using Clock = RunLoopSource::Clock;

/// Waits for one point in time, and counts how often it is asked what it waits for.
struct Source : RunLoopSource {
    explicit Source(std::optional<Clock::time_point> due) : deadline(due) {}
    Interest interest() override {
        ++looks;
        return {-1, 0, deadline};
    }
    void serve(short /*events*/) override {
        deadline.reset();
        served.set_value(Clock::now());
    }

    std::optional<Clock::time_point> deadline;
    std::atomic<int> looks = 0;
    std::promise<Clock::time_point> served;
};

TEST(RunLoop, SleepsUntilTheEarliestDeadline) {
    const auto due = Clock::now() + 80ms;
    const auto quiet = std::make_shared<Source>(std::nullopt);
    const auto timer = std::make_shared<Source>(due);
    const auto later = std::make_shared<Source>(due + 1h);
    for (const auto& source : {later, timer, quiet}) {
        platform::addToRunLoop(source);
    }
    std::thread(CFRunLoopRun).detach();  // parked for good, as the tool's main thread is
    auto served = timer->served.get_future();
    ASSERT_EQ(served.wait_for(support::kPatience), std::future_status::ready);
    EXPECT_GE(served.get(), due);
    EXPECT_LE(quiet->looks, 3) << "one deadline is one wake-up";
}

}  // namespace
