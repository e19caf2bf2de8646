#include "Corvane/loop/Timer.h"

#include <algorithm>
#include <utility>

namespace corvane {

void Timer::set(std::chrono::milliseconds delay, std::function<void()> then) {
    const auto due = Loop::Clock::now() + std::max(delay, std::chrono::milliseconds::zero());
    const auto place = loop_.timers_.emplace(due, this);
    cancel();
    place_ = place;
    then_ = std::move(then);
}

void Timer::cancel() {
    if (place_) {
        loop_.timers_.erase(*place_);
    }
    place_.reset();
    then_ = nullptr;
}

void Timer::expire() {
    // What is called may set this timer again, or destroy it.
    Loop& loop = loop_;
    const auto then = std::move(then_);
    cancel();
    loop.withinMemory(then);
}

}  // namespace corvane
