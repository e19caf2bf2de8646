#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/simulated/RFSelfTest.h"
#include "Corvane/baseband/simulated/StoredRecord.h"

namespace corvane::simulated {

/// What has happened to the baseband since the manager was first started: counts, and the last reset of each type.
///
/// Counting costs no write of its own: a count is on disk with the next change of a setting, or when the manager ends.
class BasebandStatistics {
public:
    explicit BasebandStatistics(SettingsStore& store) : record_(store, "baseband.statistics") {}

    enum class Count {
        ModeChanges,
        Shutdowns,
        Wakes,
        PowerNotifications,
        NVDataErasures,
        FileSystemSyncs,
        PowerLogDumps,
        FailedBoots
    };
    void count(Count what);
    void countSelfTest(RFSelfTest::Outcome outcome);
    /// @param time the baseband's own.
    void countReset(const ResetRequest& request, const std::string& time);
    void countCrash(const std::string& reason, const std::string& time);
    void countBoot(std::chrono::milliseconds duration);

    xpc::Object toDictionary() const;

private:
    void increment(const char* key);

    StoredRecord record_;
};

}  // namespace corvane::simulated
