#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/loop/Timer.h"

#include <map>

namespace corvane::simulated {

/// The traces that the baseband says nothing on, as if they had hung.
class StalledTraces {
public:
    explicit StalledTraces(Loop& loop) : loop_(loop) {}

    void stall(ryn::trace::Type trace, std::chrono::milliseconds duration) {
        timers_.try_emplace(trace, loop_).first->second.set(duration, [] {});
    }
    void end(ryn::trace::Type trace) { timers_.erase(trace); }
    void endAll() { timers_.clear(); }

    bool contains(ryn::trace::Type trace) const {
        const auto timer = timers_.find(trace);
        return timer != timers_.end() && timer->second.isSet();
    }

private:
    Loop& loop_;
    std::map<ryn::trace::Type, Timer> timers_;
};

}  // namespace corvane::simulated
