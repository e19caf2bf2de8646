#pragma once

#include "Corvane/support/Result.h"

#include <cstdint>
#include <span>
#include <string>

namespace corvane {

/// Numbers of the QMI device-management service (DMS).
enum class OperatingMode : std::int32_t {
    Online = 0,
    LowPower = 1,
    FactoryTest = 2,
    Offline = 3,
    Reset = 4,
    ShuttingDown = 5,
    PersistentLowPower = 6,
    ModeOnlyLowPower = 7,
};

/// The mode of that number, or a refusal that lists those that there are.
Result<OperatingMode> operatingMode(std::int64_t number);
/// "3 (offline)"
std::string describe(OperatingMode mode);
/// "0 (online), 1 (low power) and 2 (factory test)"
std::string enumerate(std::span<const OperatingMode> modes);

}  // namespace corvane
