#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/modemmanager/ModemObjects.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::modemmanager {

/// MMModemState of ModemManager's D-Bus interface.
enum class ModemState : std::int64_t {
    Failed = -1,
    Unknown = 0,
    Initializing = 1,
    Locked = 2,
    Disabled = 3,
    Disabling = 4,
    Enabling = 5,
    Enabled = 6,
};
/// MMModemPowerState
enum class PowerState : std::int64_t { Unknown = 0, Off = 1, Low = 2, On = 3 };

ModemState stateOf(const Modem& modem);
PowerState powerStateOf(const Modem& modem);

inline bool isFailed(const Modem& modem) {
    return stateOf(modem) == ModemState::Failed;
}
inline bool isBooted(const Modem& modem) {
    return stateOf(modem) >= ModemState::Locked;
}
/// Enabled, or on the way up or down: its power can't be changed before it is disabled.
inline bool isActive(const Modem& modem) {
    return stateOf(modem) > ModemState::Disabled;
}
/// A modem that failed is Off, with ModemManager's reason: "sim-missing".
BootStatus bootStatusOf(const Modem& modem);
OperatingMode operatingModeOf(const Modem& modem);
/// What keeps the modem from being used, and what helps; empty when nothing does.
std::string obstacleOf(const Modem& modem);

/// ModemManager's words for its numbers, as mmcli(1) shows them; "unknown" for a number without one.
std::string_view stateName(std::int64_t state);
std::string_view failedReasonName(std::int64_t reason);
std::string_view powerStateName(std::int64_t state);
std::string_view lockName(std::int64_t lock);
std::string_view registrationName(std::int64_t state);
/// One for each bit that is set.
std::vector<std::string_view> accessTechnologyNames(std::int64_t technologies);

}  // namespace corvane::modemmanager
