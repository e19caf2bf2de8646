#pragma once

#include "Corvane/baseband/modemmanager/ModemFollower.h"
#include "Corvane/loop/Timer.h"

#include <functional>
#include <string>
#include <vector>

namespace corvane::modemmanager {

/// Has ModemManager measure the signal of the modem while somebody wants to know it: each measurement wakes the modem.
class ModemSignal {
public:
    /// @param follower outlives this.
    ModemSignal(Loop& loop, ModemFollower& follower) : follower_(follower), wait_(loop), idle_(loop) {}

    /// Runs `then` as soon as there are figures, at the latest after a second; at once when it has been measured for longer.
    void measure(std::function<void()> then);
    /// After whatever may concern the modem.
    void modemChanged();
    /// Runs what waits.
    void stop();

private:
    bool isMeasured() const;
    void switchOn();
    void switchOff();
    void finish();

    ModemFollower& follower_;
    std::vector<std::function<void()>> waiting_;
    std::string path_;  ///< of the modem that measures for us
    Timer wait_;
    Timer idle_;
};

}  // namespace corvane::modemmanager
