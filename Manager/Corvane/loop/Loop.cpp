#include "Corvane/loop/Loop.h"

#include "Corvane/loop/Timer.h"
#include "Corvane/loop/Watch.h"
#include "Corvane/support/MemoryReserve.h"

#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <utility>

namespace corvane {
namespace {

/// The most descriptors that one epoll_wait(2) names. The kernel names the others in the following turns.
constexpr int kReadyAtOnce = 256;
constexpr std::chrono::microseconds kTurn{5000};
/// A client that costs less than this comes first, for most of a turn.
constexpr std::chrono::microseconds kLittle{200};
/// A costly client is due this many times its cost after it became ready, so that cheaper ones come first.
constexpr int kPatience = 1000;
constexpr std::chrono::seconds kMostPatience{1};
/// The most that serving one byte of waiting input takes.
constexpr std::chrono::nanoseconds kByte{6};
/// Once a turn has lasted this long, the loop asks the kernel how many bytes wait on each descriptor (FIONREAD) and postpones the
/// costly ones. Shorter turns save that system call.
constexpr auto kCarefulAfter = kTurn / 4;
/// At least this many cheap clients are served in every turn.
constexpr std::size_t kFew = 16;
/// The most turns that a task waits for a lull.
constexpr int kLongestWithoutLull = 4;

Refusal cantMake(int error) {
    return Refusal::limitReached(std::string("can't make an event loop: ") + std::strerror(error));
}

}  // namespace

Result<std::unique_ptr<Loop>> Loop::make() {
    std::unique_ptr<Loop> loop(new Loop);
    loop->deferred_.reserve(kReadyAtOnce);
    loop->running_.reserve(kReadyAtOnce);
    sd_event* event = nullptr;
    if (const int result = sd_event_new(&event); result < 0) {
        return cantMake(-result);
    }
    loop->event_.reset(event);
    loop->descriptors_ = platform::FileDescriptor(epoll_create1(EPOLL_CLOEXEC));
    epoll_event ready{EPOLLIN, {nullptr}};
    if (!loop->descriptors_ || epoll_ctl(loop->descriptors_.get(), EPOLL_CTL_ADD, sd_event_get_fd(event), &ready) != 0) {
        return cantMake(errno);
    }
    if (const int result = sd_event_set_watchdog(event, 1); result < 0) {
        return cantMake(-result);
    }
    return loop;
}

Result<void> Loop::exitOn(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    const auto exit = [](sd_event_source* source, const signalfd_siginfo*, void*) {
        return sd_event_exit(sd_event_source_get_event(source), 0);
    };
    for (const int signal : signals) {
        if (const int result = sd_event_add_signal(event_.get(), nullptr, signal, exit, nullptr); result < 0) {
            return cantMake(-result);
        }
    }
    return {};
}

bool Loop::turn() {
    rearm_ = false;
    int pending = sd_event_prepare(event_.get());
    // When nothing is pending, sd-event sleeps until its own descriptor is ready or someone gives it something else to wait for.
    const bool wait = pending == 0;
    while (!serve(wait) && wait && !rearm_) {
    }
    if (pending == 0) {
        pending = sd_event_wait(event_.get(), 0);
    }
    if (pending > 0) {
        pending = sd_event_dispatch(event_.get());
    }
    runDeferred();
    return pending >= 0 && sd_event_get_state(event_.get()) != SD_EVENT_FINISHED;
}

bool Loop::serve(bool wait) {
    std::array<epoll_event, kReadyAtOnce> ready;
    const bool isIdle = deferred_.empty() && deferredToLull_.empty();
    const int count = epoll_wait(descriptors_.get(), ready.data(), kReadyAtOnce, wait && isIdle ? untilTimer() : 0);
    isShared_ = count > 1;
    if (isShared_ || !timers_.empty()) {  // for one client alone nothing depends on the time, and reading it costs
        turnBegan_ = now_ = Clock::now();
    }
    bool eventIsDue = false;
    for (int index = 0; index < count; ++index) {
        auto* watch = static_cast<Watch*>(ready[static_cast<std::size_t>(index)].data.ptr);
        if (watch == nullptr) {
            eventIsDue = true;
        } else if (watch->order_ == Watch::Order::Ahead) {
            withinMemory(watch->ready_);
            now_ = Clock::now();
        } else {
            ready_.push_back(watch);
        }
    }
    const bool isLull = ready_.size() <= kFew;  // so that all of them are served
    shareTurn();
    runInLull(isLull);
    runDeferred();
    runTimers();
    if ((std::exchange(isOutOfMemory_, false) || memory::isShort()) && relieve_) {
        withinMemory(relieve_);
    }
    return eventIsDue;
}

int Loop::untilTimer() const {
    if (timers_.empty()) {
        return -1;
    }
    constexpr std::chrono::milliseconds kLongest = std::chrono::hours(1);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first - Clock::now());
    return static_cast<int>(std::clamp(left, std::chrono::milliseconds::zero(), kLongest).count());
}

/// Those that were due when the turn began. What they set is for later turns.
void Loop::runTimers() {
    while (!timers_.empty() && timers_.begin()->first <= turnBegan_) {
        timers_.begin()->second->expire();
    }
}

void Loop::runInLull(bool isLull) {
    if (deferredToLull_.empty()) {
        turnsWithoutLull_ = 0;
        return;
    }
    if (!isLull && ++turnsWithoutLull_ <= kLongestWithoutLull) {
        return;
    }
    turnsWithoutLull_ = 0;
    const auto task = std::move(deferredToLull_.front());
    deferredToLull_.pop_front();
    turnBegan_ = Clock::now();
    withinMemory(task);
}

void Loop::serveNow(Watch& watch) {
    now_ = Clock::now();
    serveOne(watch);
}

/// Notes what serving it takes.
void Loop::serveOne(Watch& watch) {
    watch.due_.reset();
    withinMemory(watch.ready_);
    const auto spent = Clock::now() - now_;
    now_ += spent;
    // What took long because the machine was busy with others says nothing about the client, and a single time says little.
    if (spent < kLittle || !wasPreempted()) {
        watch.cost_ = std::min(spent, (7 * watch.cost_.value_or(Clock::duration()) + spent) / 8);
    }
}

void Loop::shareTurn() {
    if (!isShared_) {  // nobody else waits: it needs no order, and what it takes doesn't matter
        if (!ready_.empty()) {
            ready_.front()->due_.reset();
            withinMemory(ready_.front()->ready_);
            ready_.clear();
        }
        return;
    }
    const auto isCostly = [](const Watch* watch) { return watch->cost_ && *watch->cost_ >= kLittle; };
    const auto costly = std::partition(ready_.begin(), ready_.end(), std::not_fn(isCostly));
    const auto unknown = std::partition(ready_.begin(), costly, [](const Watch* watch) { return watch->cost_.has_value(); });
    serveInTurn({ready_.begin(), unknown}, kFew, turnBegan_ + kTurn / 8 * 5);
    serveInTurn({unknown, costly}, kFew, turnBegan_ + kTurn);
    serveInTurn({costly, ready_.end()}, 1, turnBegan_ + kTurn);
    ready_.clear();
}

void Loop::order(std::span<Watch*> watches) const {
    for (Watch* watch : watches) {
        if (!watch->due_) {
            const auto patience = std::min<Clock::duration>(kPatience * watch->cost_.value_or(Clock::duration()), kMostPatience);
            watch->due_ = turnBegan_ + patience;
        }
    }
    std::ranges::sort(watches, {}, &Watch::due_);
}

/// @param atLeast how many are served even after `end`: another process may have had the processor for the whole turn. The others
/// are still ready in the next turn.
void Loop::serveInTurn(std::span<Watch*> watches, std::size_t atLeast, Clock::time_point end) {
    Clock::duration expected{};
    for (const Watch* watch : watches) {
        expected += watch->cost_.value_or(kLittle);
    }
    if (now_ + expected > end) {  // some of them must wait for another turn
        order(watches);
    }
    std::size_t served = 0;
    for (Watch* watch : watches) {
        if (now_ - turnBegan_ >= kCarefulAfter && turnsCostly(*watch)) {
            watch->due_.reset();
            now_ = Clock::now();
            continue;
        }
        serveOne(*watch);
        if (++served >= atLeast && now_ >= end) {
            return;
        }
    }
}

/// Whether so many bytes wait on a watch thought cheap that serving it would be costly. If so, that becomes its cost.
bool Loop::turnsCostly(Watch& watch) {
    if (watch.cost_.value_or(Clock::duration()) >= kLittle) {
        return false;
    }
    int waiting = 0;
    if (ioctl(watch.descriptor_, FIONREAD, &waiting) != 0 || waiting * kByte < kLittle) {
        return false;
    }
    watch.cost_ = waiting * kByte;
    return true;
}

bool Loop::wasPreempted() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return std::exchange(preemptions_, usage.ru_nivcsw) != usage.ru_nivcsw;
}

bool Loop::isLate() const {
    return Clock::now() >= turnBegan_ + kTurn / 2;
}

void Loop::runDeferred() {
    while (!deferred_.empty()) {
        std::swap(running_, deferred_);  // both keep their room
        for (const auto& task : running_) {
            withinMemory(task);
        }
        running_.clear();
    }
}

}  // namespace corvane
