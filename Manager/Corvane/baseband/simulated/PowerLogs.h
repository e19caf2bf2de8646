#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/simulated/BasebandClock.h"
#include "Corvane/baseband/simulated/NVData.h"

#include <array>
#include <deque>
#include <string>

namespace corvane::simulated {

/// The two power logs of the baseband: NPA, the requests on its power resources, and F3, its debug messages about power.
///
/// While a log is enabled, what happens is written into the baseband's memory, the newest entries up to a limit; a power cycle
/// loses them. A dump moves them to the disk, in place of the dump before.
class PowerLogs {
public:
    PowerLogs(SettingsStore& store, NVData& nvData, const BasebandClock& clock) : store_(store), nvData_(nvData), clock_(clock) {}

    /// What it changes is on disk before it returns.
    Result<void> control(PowerLog log, PowerLogAction action);

    void bootStateChanged(BootState state);
    void operatingModeChanged(OperatingMode mode);
    /// @param what "about to sleep", "voice call", ...
    void powerNotification(const char* what);
    void selfTest(const char* what, bool transmitting);
    /// The memory has lost its power.
    void forget() { entries_ = {}; }

    /// What a person reads of a log: the last dump, then what has been recorded since.
    SnapshotFile file(PowerLog log) const;

private:
    /// Adds an entry to a log that is enabled.
    void record(PowerLog log, const std::string& entry);
    void add(PowerLog log, const std::string& entry);
    Result<void> dump(PowerLog log);
    std::deque<std::string>& entriesOf(PowerLog log) { return entries_[static_cast<std::size_t>(log)]; }
    std::string recorded(PowerLog log) const;

    SettingsStore& store_;
    NVData& nvData_;
    const BasebandClock& clock_;
    std::array<std::deque<std::string>, static_cast<std::size_t>(PowerLog::F3) + 1> entries_;  ///< by log
};

}  // namespace corvane::simulated
