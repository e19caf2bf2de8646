#include "Platform/FileDescriptor.h"
#include "Platform/RunLoop.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "support/Test.h"

#include <sys/eventfd.h>

namespace {

using Clock = platform::RunLoopSource::Clock;

constexpr auto kNever = Clock::time_point::max();
constexpr int kTimes = 8;

/// Waits until its descriptor can be written to, then for one point in time after the other, and counts how often it is asked.
struct Source : platform::RunLoopSource {
    Interest interest() override {
        ++looks;
        return {descriptor, POLLOUT, deadline};
    }
    void serve(short events) override {
        if (std::exchange(descriptor, -1) >= 0) {
            EXPECT_EQ(events, POLLOUT);
            return;
        }
        EXPECT_GE(Clock::now(), deadline);
        deadline += 5ms;
        if (++served == kTimes) {
            deadline = kNever;
            later.reset();
            done.set_value();
        }
    }

    int descriptor = -1;
    Clock::time_point deadline = Clock::now() + 30ms;
    std::atomic<int> looks = 0;
    int served = 0;
    std::promise<void> done;
    std::shared_ptr<Source> later;
};

TEST(RunLoop, SleepsUntilTheEarliestDeadline) {
    const platform::FileDescriptor counter(::eventfd(0, EFD_CLOEXEC));
    const auto quiet = std::make_shared<Source>();
    quiet->deadline = kNever;
    const auto timer = std::make_shared<Source>();
    timer->descriptor = counter.get();
    timer->later = std::make_shared<Source>();
    timer->later->deadline += 1h;
    for (const auto& source : {quiet, timer, timer->later}) {
        platform::addToRunLoop(source);
    }
    std::thread(CFRunLoopRun).detach();  // parked for good, as the tool's main thread is
    EXPECT_EQ(timer->done.get_future().wait_for(support::kPatience), std::future_status::ready);
    EXPECT_LE(timer->looks, 2 * kTimes) << "one deadline is one wake-up";
}

}  // namespace
