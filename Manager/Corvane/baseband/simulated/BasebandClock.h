#pragma once

#include <chrono>
#include <string>

namespace corvane::simulated {

/// The baseband's own clock. It runs by itself, so that setting the host's clock doesn't move it, until it is set again: from
/// the host when the baseband boots, from the network when it goes online, which need not tell the true time.
class BasebandClock {
public:
    BasebandClock() { setFromHost(); }
    void setFromHost() { set({}); }
    void setFromNetwork() { set(networkError_); }
    /// From now on the network's time is off by `seconds` more.
    void jumpNetworkTime(std::chrono::milliseconds seconds) { networkError_ += seconds; }

    /// UTC with milliseconds as ISO 8601 has it: "2026-11-01T12:34:56.789Z".
    std::string text() const;

private:
    void set(std::chrono::milliseconds error);

    std::chrono::milliseconds networkError_{};
    std::chrono::system_clock::time_point setTo_;
    std::chrono::nanoseconds setAt_{};  ///< of CLOCK_BOOTTIME, which goes on while the host is suspended
};

}  // namespace corvane::simulated
