#include "Corvane/baseband/simulated/NVData.h"

#include <random>

namespace corvane::simulated {

NVData::NVData(SettingsStore& store) : record_(store, "baseband.nv") {
    if (record_.number(kSerialNumber) == 0) {
        std::random_device random;
        record_.setLazily(factoryValues(1 + static_cast<std::int64_t>(random()), 1));
    }
}

Result<void> NVData::erase() {
    return record_.replace(factoryValues(record_.number(kSerialNumber), record_.number(kCalibrationRun) + 1));
}

std::uint64_t NVData::calibrationSeed() const {
    const auto serialNumber = static_cast<std::uint64_t>(record_.number(kSerialNumber));
    return serialNumber << 16 ^ static_cast<std::uint64_t>(record_.number(kCalibrationRun));
}

xpc::Object NVData::factoryValues(std::int64_t serialNumber, std::int64_t calibrationRun) {
    return dictionary({{kSerialNumber, number(serialNumber)},
                       {kCalibrationRun, number(calibrationRun)},
                       {kPersistentLowPower, number(0)},
                       {keyOf(PowerLog::NPA), number(0)},
                       {keyOf(PowerLog::F3), number(0)}});
}

}  // namespace corvane::simulated
