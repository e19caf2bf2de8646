#include "Platform/FileDescriptor.h"
#include "Platform/RunLoop.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "support/Test.h"

#include <sys/eventfd.h>

namespace {

using platform::RunLoopSource;
using Clock = RunLoopSource::Clock;

/// Asks for what the test sets, and tells what it was served.
class Source : public RunLoopSource {
public:
    Interest interest() override {
        const std::lock_guard lock(mutex_);
        ++looks_;
        return interest_;
    }
    void serve(short events) override {
        const std::lock_guard lock(mutex_);
        interest_ = {};
        served_.set_value(events);
    }

    std::future<short> want(const Interest& interest) {
        std::unique_lock lock(mutex_);
        served_ = {};
        auto served = served_.get_future();
        interest_ = interest;
        lock.unlock();
        platform::wakeRunLoop();
        return served;
    }
    int looks() {
        const std::lock_guard lock(mutex_);
        return looks_;
    }

private:
    std::mutex mutex_;
    Interest interest_;
    std::promise<short> served_;
    int looks_ = 0;
};

short waitFor(std::future<short> served) {
    return served.wait_for(support::kPatience) == std::future_status::ready ? served.get() : short{-1};
}

TEST(RunLoop, ServesSleepsAndForgetsSourcesThatAreGone) {
    auto watching = std::make_shared<Source>();
    const auto timer = std::make_shared<Source>();
    platform::addToRunLoop(watching);
    platform::addToRunLoop(timer);
    platform::wakeRunLoop();             // with nobody parked
    std::thread(CFRunLoopRun).detach();  // parked for good, as the tool's main thread is
    const platform::FileDescriptor counter(::eventfd(0, EFD_CLOEXEC));
    auto readable = timer->want({counter.get(), POLLIN, {}});
    ASSERT_EQ(::eventfd_write(counter.get(), 1), 0);
    EXPECT_EQ(waitFor(std::move(readable)), POLLIN);
    const auto due = Clock::now() + 5ms;
    EXPECT_EQ(waitFor(timer->want({-1, 0, due})), 0);
    EXPECT_GE(Clock::now(), due);
    EXPECT_EQ(waitFor(timer->want({counter.get(), POLLOUT, Clock::now() + 1h})), POLLOUT);
    const platform::FileDescriptor quiet(::eventfd(0, EFD_CLOEXEC));
    const auto never = watching->want({quiet.get(), POLLIN, {}});
    // One deadline is one wake-up: had the loop polled at any pace of its own, the quiet source would have been asked more often.
    const int before = watching->looks();
    EXPECT_EQ(waitFor(timer->want({-1, 0, Clock::now() + 60ms})), 0);
    EXPECT_LE(watching->looks() - before, 5);
    const std::weak_ptr<Source> gone = watching;
    watching.reset();
    EXPECT_EQ(waitFor(timer->want({-1, 0, Clock::now()})), 0);
    EXPECT_TRUE(gone.expired());
}

}  // namespace
