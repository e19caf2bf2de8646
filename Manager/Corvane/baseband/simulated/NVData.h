#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/simulated/StoredRecord.h"

namespace corvane::simulated {

/// The baseband's non-volatile data. Each change is on disk before it returns.
class NVData {
public:
    /// What has never been written gets the factory's values: a serial number of its own, a first RF calibration, all else off.
    explicit NVData(SettingsStore& store);

    /// Back to the factory's values. The serial number stays; the RF front end is calibrated anew.
    Result<void> erase();

    /// Whether the baseband boots into persistent low power (6) in place of low power (1).
    bool persistentLowPower() const { return record_.number(kPersistentLowPower) != 0; }
    Result<void> setPersistentLowPower(bool on) { return record_.set(dictionary({{kPersistentLowPower, number(on ? 1 : 0)}})); }

    bool powerLogEnabled(PowerLog log) const { return record_.number(keyOf(log)) != 0; }
    Result<void> setPowerLogEnabled(PowerLog log, bool on) { return record_.set(dictionary({{keyOf(log), number(on ? 1 : 0)}})); }

    /// @param time when the remote filesystem was last written out.
    Result<void> recordSync(const std::string& time) { return record_.set(dictionary({{kLastSync, text(time)}})); }

    /// What the deviations of this unit's RF front end follow from, until it is calibrated anew.
    std::uint64_t calibrationSeed() const;

    xpc::Object toDictionary() const { return record_.values(); }

private:
    static constexpr const char* kSerialNumber = "SerialNumber";
    static constexpr const char* kCalibrationRun = "CalibrationRun";
    static constexpr const char* kPersistentLowPower = "PersistentLowPower";
    static constexpr const char* kLastSync = "LastFileSystemSync";

    static const char* keyOf(PowerLog log) { return log == PowerLog::NPA ? "PowerLogNPA" : "PowerLogF3"; }
    static xpc::Object factoryValues(std::int64_t serialNumber, std::int64_t calibrationRun);

    StoredRecord record_;
};

}  // namespace corvane::simulated
