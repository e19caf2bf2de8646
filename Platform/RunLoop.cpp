#include "Platform/RunLoop.h"

#include "platform/CoreFoundation/CoreFoundation.h"

#include <malloc.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <ctime>
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

    bool hasDescriptors() const {
        return std::any_of(descriptors.begin(), descriptors.end(), [](const pollfd& entry) { return entry.fd >= 0; });
    }
    void serve() const;
};

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

/// The thread sleeps on a condition variable as long as no descriptor is to be watched, so that a run that needs none opens no
/// eventfd; with descriptors it sleeps in poll(2) and the eventfd ends the sleep.
class RunLoop {
public:
    void add(const std::weak_ptr<RunLoopSource>& source);
    void wake();
    [[noreturn]] void run();

private:
    enum class Sleep { None, OnCondition, InPoll };

    Watch look();
    void sleep(Watch& watch);
    void sleepInPoll(Watch& watch);
    void drainWaker();

    std::mutex mutex_;
    std::condition_variable woken_;
    std::vector<std::weak_ptr<RunLoopSource>> sources_;
    Sleep sleep_ = Sleep::None;
    bool wakeAsked_ = false;
    bool firstLookIsOver_ = false;
    int waker_ = -1;  ///< an eventfd, once a descriptor was watched

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
    const std::lock_guard lock(mutex_);
    if (wakeAsked_) {
        return;
    }
    wakeAsked_ = true;
    if (sleep_ == Sleep::OnCondition) {
        woken_.notify_one();
    } else if (sleep_ == Sleep::InPoll) {
        constexpr std::uint64_t kOnce = 1;
        // Can't fail: the counter is drained after every sleep, and a missing eventfd bounds the sleep.
        [[maybe_unused]] const auto written = ::write(waker_, &kOnce, sizeof kOnce);
    }
}

Watch RunLoop::look() {
    Watch watch;
    {
        const std::lock_guard lock(mutex_);
        wakeAsked_ = false;
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
    if (watch.hasDescriptors()) {
        sleepInPoll(watch);
        return;
    }
    std::unique_lock lock(mutex_);
    sleep_ = Sleep::OnCondition;
    const auto woken = [this] { return wakeAsked_; };
    if (watch.deadline) {
        woken_.wait_until(lock, *watch.deadline, woken);
    } else {
        woken_.wait(lock, woken);
    }
    sleep_ = Sleep::None;
}

void RunLoop::sleepInPoll(Watch& watch) {
    {
        const std::lock_guard lock(mutex_);
        if (wakeAsked_) {
            return;
        }
        if (waker_ < 0) {
            waker_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        }
        sleep_ = Sleep::InPoll;
    }
    if (waker_ < 0) {  // out of descriptors: look again soon instead of being woken
        watch.deadline = earlier(watch.deadline, Clock::now() + kFirstLook);
    }
    watch.descriptors.push_back({waker_, POLLIN, 0});
    timespec left{};
    if (watch.deadline) {
        const auto wait = std::max(Clock::duration::zero(), *watch.deadline - Clock::now());
        const auto seconds = std::chrono::floor<std::chrono::seconds>(wait);
        left = {seconds.count(), std::chrono::nanoseconds(wait - seconds).count()};
    }
    if (::ppoll(watch.descriptors.data(), watch.descriptors.size(), watch.deadline ? &left : nullptr, nullptr) < 0) {
        for (auto& entry : watch.descriptors) {
            entry.revents = 0;  // interrupted: nothing is known
        }
    }
    const std::lock_guard lock(mutex_);
    sleep_ = Sleep::None;
    if (watch.descriptors.back().revents != 0) {
        drainWaker();
    }
}

void RunLoop::drainWaker() {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = ::read(waker_, &count, sizeof count);
}

void RunLoop::run() {
    const std::lock_guard parked(parked_);
    // Sources that are added right after the start are noticed without being announced.
    Deadline firstLook = Clock::now() + kFirstLook;
    for (;;) {
        if (firstLook && *firstLook <= Clock::now()) {
            firstLook.reset();
            const std::lock_guard lock(mutex_);
            firstLookIsOver_ = true;
        }
        auto watch = look();
        watch.deadline = earlier(watch.deadline, firstLook);
        sleep(watch);
        watch.serve();
    }
}

/// The threads beside the parked one take turns more than they compete: one arena serves them all, and a run that is soon over
/// is spared the setting up of a second.
[[maybe_unused]] const bool kOneArena = ::mallopt(M_ARENA_MAX, 1) == 1;

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
