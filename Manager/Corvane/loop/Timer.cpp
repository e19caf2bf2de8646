#include "Corvane/loop/Timer.h"

#include <algorithm>
#include <ctime>
#include <new>
#include <utility>

namespace corvane {
namespace {

/// Of an absolute point of the monotonic clock, in microseconds; 0 would mean the library's default of 250 ms.
constexpr std::uint64_t kAccuracy = 1000;

}  // namespace

// sd-event's relative timers count from its last iteration, which may be long ago when a request is served.
void Timer::set(std::chrono::milliseconds delay, std::function<void()> then) {
    // steady_clock is CLOCK_MONOTONIC too.
    const auto due = std::chrono::steady_clock::now() + std::max(delay, std::chrono::milliseconds::zero());
    const auto deadline = std::chrono::ceil<std::chrono::microseconds>(due.time_since_epoch()).count();
    const auto expired = [](sd_event_source*, std::uint64_t, void* timer) {
        static_cast<Timer*>(timer)->expire();
        return 0;
    };
    sd_event_source* source = nullptr;
    if (sd_event_add_time(&loop_.event(), &source, CLOCK_MONOTONIC, static_cast<std::uint64_t>(deadline), kAccuracy, expired,
                          this) < 0) {
        throw std::bad_alloc();  // nothing else can be lacking: the loop has opened its timer's descriptor
    }
    source_.reset(source);
    then_ = std::move(then);
    loop_.rearm();
}

void Timer::cancel() {
    if (isSet()) {
        loop_.rearm();  // nothing wakes for what is over
    }
    source_.reset();
    then_ = nullptr;
}

void Timer::expire() {
    source_.reset();
    // What is called may set this timer again, or destroy it.
    Loop& loop = loop_;
    const auto then = std::exchange(then_, nullptr);
    loop.withinMemory(then);
}

}  // namespace corvane
