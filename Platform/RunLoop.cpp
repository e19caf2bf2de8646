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
using Deadline = std::optional<Clock::time_point>;

Deadline earlier(const Deadline& left, const Deadline& right) {
    return left && right ? std::min(left, right) : left ? left : right;
}

/// What the parked thread sleeps on: the descriptors that sources asked for and the earliest of their deadlines.
struct Watch {
    std::vector<std::weak_ptr<RunLoopSource>> sources;
    std::vector<RunLoopSource::Interest> interests;  ///< one for each source
    std::vector<pollfd> descriptors;                 ///< the same order, then the waker's
    Deadline deadline;

    void sleep();
    void serve() const;
};

void Watch::sleep() {
    constexpr Clock::duration kLongest = std::chrono::hours(1);  // as milliseconds it must fit an int
    int timeout = -1;
    if (deadline) {
        const auto left = std::clamp(*deadline - Clock::now(), Clock::duration::zero(), kLongest);
        timeout = static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count());
    }
    if (::poll(descriptors.data(), descriptors.size(), timeout) < 0) {
        for (auto& entry : descriptors) {
            entry.revents = 0;  // interrupted: nothing is known
        }
    }
}

/// Sources are held only while they are called: one that goes away during the sleep is skipped.
void Watch::serve() const {
    const auto now = Clock::now();
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const bool due = interests[i].deadline && *interests[i].deadline <= now;
        if (descriptors[i].revents == 0 && !due) {
            continue;
        }
        if (const auto source = sources[i].lock()) {
            source->serve(descriptors[i].revents);
        }
    }
}

class RunLoop {
public:
    void add(const std::weak_ptr<RunLoopSource>& source);
    void wake();
    [[noreturn]] void run();

private:
    Watch look();
    void sleep(Watch& watch);

    std::mutex mutex_;
    std::vector<std::weak_ptr<RunLoopSource>> sources_;
    bool firstLookIsOver_ = false;

    const int waker_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    std::atomic<bool> awake_ = false;  ///< the waker was written to since the last look

    std::mutex parked_;  ///< held by the parked thread; a second one waits for it for good
};

void RunLoop::add(const std::weak_ptr<RunLoopSource>& source) {
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(sources_, [](const auto& known) { return known.expired(); });
        sources_.push_back(source);
        if (!firstLookIsOver_) {
            return;
        }
    }
    wake();
}

void RunLoop::wake() {
    if (!awake_.exchange(true)) {
        constexpr std::uint64_t kOnce = 1;
        // Can't fail: the counter is read after every sleep that it ends, and a missing eventfd bounds the sleep.
        [[maybe_unused]] const auto written = ::write(waker_, &kOnce, sizeof kOnce);
    }
}

Watch RunLoop::look() {
    Watch watch;
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(sources_, [](const auto& source) { return source.expired(); });
        watch.sources = sources_;
    }
    for (const auto& weak : watch.sources) {
        const auto source = weak.lock();
        const auto interest = source ? source->interest() : RunLoopSource::Interest{};
        watch.interests.push_back(interest);
        watch.descriptors.push_back({interest.descriptor, interest.events, 0});
        watch.deadline = earlier(watch.deadline, interest.deadline);
    }
    return watch;
}

void RunLoop::sleep(Watch& watch) {
    watch.descriptors.push_back({waker_, POLLIN, 0});
    if (waker_ < 0) {  // out of descriptors: look again soon instead of being woken
        watch.deadline = earlier(watch.deadline, Clock::now() + kFirstLook);
    }
    watch.sleep();
    if (watch.descriptors.back().revents != 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto got = ::read(waker_, &count, sizeof count);
    }
    awake_ = false;  // before the next look, so that no later change is missed
}

void RunLoop::run() {
    const std::lock_guard parked(parked_);
    // Sources that are added right after the start are noticed without being announced.
    Watch none;
    none.deadline = Clock::now() + kFirstLook;
    sleep(none);
    {
        const std::lock_guard lock(mutex_);
        firstLookIsOver_ = true;
    }
    for (;;) {
        auto watch = look();
        sleep(watch);
        watch.serve();
    }
}

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
    platform::theRunLoop().run();
}
