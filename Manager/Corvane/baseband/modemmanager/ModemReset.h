#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/modemmanager/ModemObjects.h"
#include "Corvane/baseband/modemmanager/SystemBus.h"

#include <functional>
#include <string>

namespace corvane::modemmanager {

/// A reset from the request until the modem is back: it leaves the bus and comes again as another object.
class ModemReset {
public:
    explicit ModemReset(Loop& loop) : leave_(loop), return_(loop) {}

    /// @param ended runs once, when nothing is under way any more.
    void begin(const std::string& path, Completion<void> ended);
    /// What became of the request. @param mayHaveLeft whether one that failed may have been accepted all the same.
    void replied(const Result<void>& result, bool mayHaveLeft);
    void modemChanged(const Modem* modem);
    void stop();

    bool underWay() const { return static_cast<bool>(ended_); }
    /// Whether the modem is away, or about to go.
    bool resetting() const { return underWay() && (accepted_ || left_); }

private:
    void end(const Result<void>& result);

    std::string path_;
    Completion<void> ended_;
    bool accepted_ = false;
    bool left_ = false;
    Result<void> result_;  ///< holds if the modem doesn't leave
    Timer leave_;
    Timer return_;
};

}  // namespace corvane::modemmanager
