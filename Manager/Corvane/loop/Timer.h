#pragma once

#include "Corvane/loop/EventLoop.h"

#include <chrono>
#include <functional>

namespace corvane {

/// One point in time on the event loop; nothing wakes while it is not set.
class Timer {
public:
    explicit Timer(sd_event& loop) : loop_(&loop) {}
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Calls `then` once, `delay` from now, in place of what was set before.
    void set(std::chrono::milliseconds delay, std::function<void()> then);
    void cancel();

private:
    void expire();

    sd_event* loop_;  ///< outlives the timer
    EventSource source_;
    std::function<void()> then_;
};

}  // namespace corvane
