#pragma once

#include "Corvane/baseband/Baseband.h"

#include <deque>

namespace corvane::simulated {

/// The way of the diagnostic messages out of the baseband: chooses among them, and gathers them in the baseband's buffer.
class DiagPort {
public:
    explicit DiagPort(OnRecord onRecord) : onRecord_(std::move(onRecord)) {}

    void configure(const DiagSettings& settings);
    void setAsleep(bool asleep);

    /// Whether a message of any group, or of `group`, goes anywhere: ask before composing one.
    bool isOn() const { return chosen() != 0; }
    bool wants(DiagGroup::Bit group) const { return (chosen() & group) != 0; }
    /// Of a group that is wanted.
    void send(std::chrono::system_clock::time_point time, std::string packet);
    /// Lets everything out that the buffer holds.
    void drain() { drainTo(0); }

private:
    DiagGroups chosen() const { return asleep_ ? settings_.asleep : settings_.awake; }
    bool isHolding() const { return settings_.hold || (asleep_ && settings_.holdUntilAwake); }
    void drainTo(std::size_t bytes);

    OnRecord onRecord_;
    DiagSettings settings_;
    bool asleep_ = false;
    std::deque<TraceRecord> buffer_;
    std::size_t filled_ = 0;  ///< bytes of messages in `buffer_`
};

}  // namespace corvane::simulated
