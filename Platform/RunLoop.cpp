#include "Platform/RunLoop.h"

#include "Platform/WakeRequest.h"
#include "platform/CoreFoundation/CoreFoundation.h"

#include <malloc.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <vector>

namespace platform {
namespace {

using Clock = RunLoopSource::Clock;
using Deadline = std::optional<Clock::time_point>;

timespec toTimespec(Clock::duration duration) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(duration);
    return {seconds.count(), std::chrono::nanoseconds(duration - seconds).count()};
}

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

/// The thread sleeps on its wake request as long as no descriptor is to be watched, so that a run that needs none opens no
/// eventfd; with descriptors it sleeps in poll(2) and the eventfd ends the sleep.
class RunLoop {
public:
    void add(const std::weak_ptr<RunLoopSource>& source);
    void wake();
    [[noreturn]] void run();

private:
    Watch look();
    void sleep(Watch& watch);
    void sleepInPoll(Watch& watch);
    void drainWaker();

    WakeRequest wake_;
    std::mutex mutex_;
    std::vector<std::weak_ptr<RunLoopSource>> sources_;
    bool inPoll_ = false;
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
    if (!wake_.raise()) {
        return;
    }
    if (inPoll_) {
        constexpr std::uint64_t kOnce = 1;
        // Can't fail: the counter is drained after every sleep, and a missing eventfd bounds the sleep.
        [[maybe_unused]] const auto written = ::write(waker_, &kOnce, sizeof kOnce);
    } else {
        wake_.notify();
    }
}

Watch RunLoop::look() {
    Watch watch;
    {
        const std::lock_guard lock(mutex_);
        wake_.clear();
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
    if (!watch.deadline) {
        wake_.wait(nullptr);
    } else if (const auto left = *watch.deadline - Clock::now(); left > Clock::duration::zero()) {
        const timespec longest = toTimespec(left);
        wake_.wait(&longest);
    }
}

void RunLoop::sleepInPoll(Watch& watch) {
    {
        const std::lock_guard lock(mutex_);
        if (wake_.isRaised()) {
            return;
        }
        if (waker_ < 0) {
            waker_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        }
        inPoll_ = true;
    }
    if (waker_ < 0) {  // out of descriptors: look again soon instead of being woken
        watch.deadline = earlier(watch.deadline, Clock::now() + kFirstLook);
    }
    watch.descriptors.push_back({waker_, POLLIN, 0});
    timespec left{};
    if (watch.deadline) {
        left = toTimespec(std::max(Clock::duration::zero(), *watch.deadline - Clock::now()));
    }
    if (::ppoll(watch.descriptors.data(), watch.descriptors.size(), watch.deadline ? &left : nullptr, nullptr) < 0) {
        for (auto& entry : watch.descriptors) {
            entry.revents = 0;  // interrupted: nothing is known
        }
    }
    const std::lock_guard lock(mutex_);
    inPoll_ = false;
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
    const timespec firstLook = toTimespec(kFirstLook);
    wake_.wait(&firstLook);
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

constexpr int kMebibyte = 1024 * 1024;

/// Spares a run that is soon over what the heap sets up for a long one: the threads beside the parked one take turns more than
/// they compete, so one arena serves them all, and the buffer of a socket needs no mapping of its own. Who sets the one threshold
/// must set the other, or the end of the heap goes back and forth with each large block.
[[maybe_unused]] const bool kPlainHeap = ::mallopt(M_ARENA_MAX, 1) == 1 && ::mallopt(M_MMAP_THRESHOLD, kMebibyte) == 1 &&
                                         ::mallopt(M_TRIM_THRESHOLD, 2 * kMebibyte) == 1;

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
