#include "Platform/RunLoop.h"

#include "platform/CoreFoundation/CoreFoundation.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

namespace platform {
namespace {

using Clock = RunLoopSource::Clock;

class RunLoop {
public:
    void add(const std::weak_ptr<RunLoopSource>& source) {
        {
            const std::lock_guard lock(mutex_);
            std::erase_if(sources_, [](const auto& known) { return known.expired(); });
            sources_.push_back(source);
        }
        wake();
    }

    void wake() {
        if (!awake_.exchange(true)) {
            constexpr std::uint64_t kOnce = 1;
            // Can't fail: the counter is read after every sleep that it ends, and a missing eventfd bounds the sleep.
            [[maybe_unused]] const auto written = ::write(waker_, &kOnce, sizeof kOnce);
        }
    }

    [[noreturn]] void run() {
        const std::lock_guard parked(parked_);
        waker_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        for (;;) {
            awake_ = false;  // before the look, so that no later change is missed
            look();
            sleep();
            serve();
        }
    }

private:
    void look() {
        {
            const std::lock_guard lock(mutex_);
            watched_ = sources_;
        }
        interests_.clear();
        descriptors_.clear();
        deadline_ = Clock::time_point::max();
        for (const auto& weak : watched_) {
            const auto source = weak.lock();
            const auto& interest = interests_.emplace_back(source ? source->interest() : RunLoopSource::Interest{});
            descriptors_.push_back({interest.descriptor, interest.events, 0});
            deadline_ = std::min(deadline_, interest.deadline);
        }
    }

    void sleep() {
        // Out of descriptors, it looks again soon instead of being woken. As milliseconds an hour fits an int.
        const Clock::duration longest = waker_ < 0 ? Clock::duration(kFirstLook) : std::chrono::hours(1);
        const auto left = std::clamp(deadline_ - Clock::now(), Clock::duration::zero(), longest);
        const auto timeout = std::chrono::ceil<std::chrono::milliseconds>(left).count();
        descriptors_.push_back({waker_, POLLIN, 0});
        ::poll(descriptors_.data(), descriptors_.size(), static_cast<int>(timeout));  // interrupted, it has set no events
        if (descriptors_.back().revents != 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const auto got = ::read(waker_, &count, sizeof count);
        }
    }

    /// Sources are held only while they are called: one that goes away during the sleep is skipped.
    void serve() const {
        const auto now = Clock::now();
        for (std::size_t i = 0; i < watched_.size(); ++i) {
            if (descriptors_[i].revents == 0 && interests_[i].deadline > now) {
                continue;
            }
            if (const auto source = watched_[i].lock()) {
                source->serve(descriptors_[i].revents);
            }
        }
    }

    std::mutex mutex_;
    std::vector<std::weak_ptr<RunLoopSource>> sources_;

    int waker_ = -1;  ///< an eventfd, opened by the parked thread before its first look
    /// The parked thread is going to look by itself: it hasn't yet, or the waker was written to.
    std::atomic<bool> awake_ = true;

    std::mutex parked_;  ///< held by the parked thread, which alone uses what follows; a second one waits for it for good
    std::vector<std::weak_ptr<RunLoopSource>> watched_;
    std::vector<RunLoopSource::Interest> interests_;  ///< one for each of `watched_`
    std::vector<pollfd> descriptors_;                 ///< the same order, then the waker's
    Clock::time_point deadline_;                      ///< the earliest one
};

RunLoop& theRunLoop() {
    // Never destroyed: the parked thread uses it until the very end of the process.
    static RunLoop* const loop = new RunLoop;
    return *loop;
}

}  // namespace

void addToRunLoop(const std::weak_ptr<RunLoopSource>& source) {
    theRunLoop().add(source);
}

void wakeRunLoop() {
    theRunLoop().wake();
}

}  // namespace platform

void CFRunLoopRun() {
    // Most runs are over before the first look. Until then this thread asks for no memory, which the worker would wait for.
    ::poll(nullptr, 0, platform::kFirstLook.count());
    platform::theRunLoop().run();
}
