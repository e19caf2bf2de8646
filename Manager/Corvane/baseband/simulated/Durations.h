#pragma once

#include <chrono>

namespace corvane::simulated {

/// How long what takes time takes; tests shorten them.
struct Durations {
    std::chrono::milliseconds softReset{80};
    std::chrono::milliseconds hardReset{160};  ///< a power cycle
    std::chrono::milliseconds boot{140};
    std::chrono::milliseconds shutdown{100};
    std::chrono::milliseconds fileSystemSync{40};
    std::chrono::milliseconds selfTest{2000};
    std::chrono::milliseconds patience{5000};  ///< with a command to a baseband that hangs
};

}  // namespace corvane::simulated
