#pragma once

#include "Client/Socket.h"

#include <algorithm>

namespace ryn::client {

/// When the next attempt to connect in the background is due: 100 ms after a failure or loss, doubling to 5 s.
class Backoff {
public:
    static constexpr std::chrono::milliseconds kFirst{100};
    static constexpr std::chrono::milliseconds kLongest{5000};

    Clock::time_point due() const { return due_; }
    void setDue(Clock::time_point due) { due_ = due; }
    void postpone(Clock::time_point now) {
        due_ = now + delay_;
        delay_ = std::min(2 * delay_, kLongest);
    }
    void reset() { delay_ = kFirst; }

private:
    Clock::time_point due_{};
    std::chrono::milliseconds delay_ = kFirst;
};

}  // namespace ryn::client
