#pragma once

#include "Corvane/loop/Loop.h"

#include <chrono>
#include <functional>
#include <optional>

namespace corvane {

/// Calls a function once, after a delay. A timer that isn't set wakes nobody.
class Timer {
public:
    /// @param loop outlives the timer.
    explicit Timer(Loop& loop) : loop_(loop) {}
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    ~Timer() { cancel(); }

    /// Calls `then` once, `delay` from now, in place of what was set before.
    void set(std::chrono::milliseconds delay, std::function<void()> then);
    void cancel();
    bool isSet() const { return place_.has_value(); }

private:
    friend Loop;

    void expire();

    Loop& loop_;
    std::optional<Loop::Timers::iterator> place_;  ///< among the loop's timers
    std::function<void()> then_;
};

}  // namespace corvane
