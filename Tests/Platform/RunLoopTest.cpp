#include "Platform/FileDescriptor.h"
#include "Platform/RunLoop.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "support/Patience.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

using platform::RunLoopSource;

/// A thread parked for good, as the tool's main thread is.
void park() {
    static std::once_flag parked;
    std::call_once(parked, [] { std::thread(CFRunLoopRun).detach(); });
}

/// Asks for what the test sets, and tells what it was served.
class Source : public RunLoopSource {
public:
    Interest interest() override {
        const std::lock_guard lock(mutex_);
        ++looks_;
        changed_.notify_all();
        return interest_;
    }
    void serve(short events) override {
        const std::lock_guard lock(mutex_);
        interest_ = {};
        ++served_;
        events_ = events;
        changed_.notify_all();
    }

    void want(const Interest& interest) {
        {
            const std::lock_guard lock(mutex_);
            interest_ = interest;
        }
        platform::wakeRunLoop();
    }
    short waitForServe(int count) {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, support::kPatience, [&] { return served_ >= count; })) << "not served";
        return events_;
    }
    /// How often it was asked, once it was.
    int looks() {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, support::kPatience, [this] { return looks_ > 0; })) << "not looked at";
        return looks_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Interest interest_;
    int looks_ = 0;
    int served_ = 0;
    short events_ = -1;
};

struct Pipe {
    Pipe() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe(ends), 0);
        read = platform::FileDescriptor(ends[0]);
        write = platform::FileDescriptor(ends[1]);
    }
    platform::FileDescriptor read, write;
};

TEST(RunLoop, ServesDescriptorsAndDeadlines) {
    const auto source = std::make_shared<Source>();
    platform::addToRunLoop(source);
    platform::wakeRunLoop();  // with nobody parked
    park();
    EXPECT_GT(source->looks(), 0);

    const Pipe pipe;
    source->want({pipe.read.get(), POLLIN, {}});
    ASSERT_EQ(::write(pipe.write.get(), "x", 1), 1);
    EXPECT_EQ(source->waitForServe(1), POLLIN);

    const auto due = RunLoopSource::Clock::now() + std::chrono::milliseconds(5);
    source->want({-1, 0, due});
    EXPECT_EQ(source->waitForServe(2), 0);
    EXPECT_GE(RunLoopSource::Clock::now(), due);

    source->want({pipe.write.get(), POLLOUT, RunLoopSource::Clock::now() + std::chrono::hours(1)});
    EXPECT_EQ(source->waitForServe(3), POLLOUT);
}

TEST(RunLoop, SleepsUntilWokenAndForgetsSourcesThatAreGone) {
    park();
    const Pipe quiet;
    auto watching = std::make_shared<Source>();
    const auto timer = std::make_shared<Source>();
    platform::addToRunLoop(watching);
    platform::addToRunLoop(timer);
    watching->want({quiet.read.get(), POLLIN, {}});
    // One deadline is one wake-up: had the loop polled at any pace of its own, the quiet source would have been asked more often.
    const int before = watching->looks();
    timer->want({-1, 0, RunLoopSource::Clock::now() + std::chrono::milliseconds(60)});
    timer->waitForServe(1);
    EXPECT_LE(watching->looks() - before, 4);

    const std::weak_ptr<Source> gone = watching;
    watching.reset();
    platform::wakeRunLoop();
    timer->want({-1, 0, RunLoopSource::Clock::now()});
    timer->waitForServe(2);
    EXPECT_TRUE(gone.expired());
}

}  // namespace
