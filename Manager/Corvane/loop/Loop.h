#pragma once

#include "Corvane/support/Result.h"
#include "Platform/FileDescriptor.h"

#include <systemd/sd-event.h>

#include <chrono>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <new>
#include <span>
#include <vector>

namespace corvane {

class Timer;
class Watch;

/// Gives an object of libsystemd back.
template <auto release>
struct Release {
    template <typename Object>
    void operator()(Object* object) const {
        release(object);
    }
};
/// What sd-event waits for, until this is destroyed.
using EventSource = std::unique_ptr<sd_event_source, Release<sd_event_source_disable_unref>>;

/// The daemon's event loop. Everything in the daemon happens on its one thread.
///
/// Signals and the system bus are sd-event's. The clients' sockets are watched directly, beside sd-event's own descriptor:
/// serving one costs a single wait, and sd-event is only looked at when it has something to do. Timers are the loop's own:
/// setting one costs no system call, since the wait ends when the first of them is due.
///
/// A turn takes a few milliseconds, whatever is ready. Descriptors that have cost little so far are served first, then new ones,
/// then costly ones; every turn serves some of each kind. The costly ones share the rest of the turn: those that cost less or
/// have waited longer come first.
class Loop {
public:
    static Result<std::unique_ptr<Loop>> make();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Blocks these signals; each of them ends the loop.
    Result<void> exitOn(std::initializer_list<int> signals);

    /// Waits until something has happened, and serves it. @return false when the loop has ended.
    bool turn();

    /// Serves the watch, as if its descriptor were ready.
    void serveNow(Watch& watch);
    /// Runs `task` and gives it up when it runs out of memory (std::bad_alloc). The loop calls everything this way; a callback of
    /// sd-event or sd-bus must do so itself, because an exception can't pass through C code. @return whether it was not given up.
    template <typename Task>
    bool withinMemory(const Task& task) noexcept {
        try {
            task();
            return true;
        } catch (const std::bad_alloc&) {
            isOutOfMemory_ = true;
            return false;
        }
    }
    /// @param relieve runs after each turn in which memory was lacking, until there is a reserve again.
    void setRelief(std::function<void()> relieve) { relieve_ = std::move(relieve); }

    /// For a handler that would go on: whether it should leave the rest of the turn to the others.
    bool isLate() const;
    /// Whether others are ready in this turn. Without them, the next turn comes at once and costs no more than going on.
    bool isShared() const { return isShared_; }

    /// Runs `task` once, before the loop waits again.
    void defer(std::function<void()> task) { deferred_.push_back(std::move(task)); }
    /// Runs `task` once, at the end of a turn in which few were ready and all were served, or after a few turns without such a
    /// lull. For what keeps the loop from serving, such as a wait for the disk: at most one such task runs in a turn.
    void deferToLull(std::function<void()> task) { deferredToLull_.push_back(std::move(task)); }

    /// Makes the loop ask sd-event again what it waits for. To be called after giving it something else, such as a call on a bus.
    void rearm() { rearm_ = true; }
    /// For what libsystemd attaches to it.
    sd_event& event() { return *event_; }

private:
    friend Timer;
    friend Watch;

    using Clock = std::chrono::steady_clock;
    using Timers = std::multimap<Clock::time_point, Timer*>;

    Loop() = default;
    /// Serves descriptors. @return whether sd-event has something to do.
    bool serve(bool wait);
    void shareTurn();
    void serveOne(Watch& watch);
    /// First those that cost less or have waited longer.
    void order(std::span<Watch*> watches) const;
    void serveInTurn(std::span<Watch*> watches, std::size_t atLeast, Clock::time_point end);
    static bool turnsCostly(Watch& watch);
    /// Whether another process has had the processor since this was last asked.
    bool wasPreempted();
    /// In milliseconds, rounded up; -1 when no timer is set.
    int untilTimer() const;
    void runTimers();
    void runDeferred();
    void runInLull(bool isLull);

    std::unique_ptr<sd_event, Release<sd_event_unref>> event_;
    platform::FileDescriptor descriptors_;  ///< the epoll set
    Timers timers_;                         ///< that are set, by when they are due
    std::vector<Watch*> ready_;             ///< those that are to be served in this turn
    Clock::time_point turnBegan_;           ///< not renewed in turns in which nothing depends on it
    Clock::time_point now_;                 ///< when the last watch was served, in this turn
    long preemptions_ = 0;                  ///< as the kernel counts them
    std::vector<std::function<void()>> deferred_;
    std::deque<std::function<void()>> deferredToLull_;
    int turnsWithoutLull_ = 0;                    ///< since the first of them has waited
    std::vector<std::function<void()>> running_;  ///< of those that were deferred
    std::function<void()> relieve_;
    bool isShared_ = false;
    bool isOutOfMemory_ = false;
    bool rearm_ = false;
};

}  // namespace corvane
