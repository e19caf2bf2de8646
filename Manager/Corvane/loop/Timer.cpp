#include "Corvane/loop/Timer.h"

#include <ctime>
#include <system_error>
#include <utility>

namespace corvane {
namespace {

/// 0 would mean the library's default of 250 ms.
constexpr std::chrono::microseconds kAccuracy{1000};

}  // namespace

void Timer::set(std::chrono::milliseconds delay, std::function<void()> then) {
    then_ = std::move(then);
    const auto microseconds = static_cast<std::uint64_t>(std::chrono::microseconds(delay).count());
    const auto expired = [](sd_event_source*, std::uint64_t, void* timer) {
        static_cast<Timer*>(timer)->expire();
        return 0;
    };
    sd_event_source* source = nullptr;
    const int result =
        sd_event_add_time_relative(loop_, &source, CLOCK_MONOTONIC, microseconds, kAccuracy.count(), expired, this);
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), "sd_event_add_time_relative");
    }
    source_.reset(source);
}

void Timer::cancel() {
    source_.reset();
    then_ = nullptr;
}

void Timer::expire() {
    source_.reset();
    // What is called may set this timer again.
    const auto then = std::exchange(then_, nullptr);
    then();
}

}  // namespace corvane
