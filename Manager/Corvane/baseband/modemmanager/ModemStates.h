#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/modemmanager/ModemObjects.h"

#include <ModemManager.h>

#include <optional>
#include <string>

namespace corvane::modemmanager {

MMModemState stateOf(const Modem& modem);
MMModemPowerState powerStateOf(const Modem& modem);

inline bool isFailed(const Modem& modem) {
    return stateOf(modem) == MM_MODEM_STATE_FAILED;
}
inline bool isBooted(const Modem& modem) {
    return stateOf(modem) >= MM_MODEM_STATE_LOCKED;
}
/// Enabled, or on the way up or down: its power can't be changed before it is disabled.
inline bool isActive(const Modem& modem) {
    return stateOf(modem) > MM_MODEM_STATE_DISABLED;
}
BootStatus bootStatusOf(const Modem& modem);
/// nullopt when it is in none: not enabled, though its power is on or not known.
std::optional<OperatingMode> operatingModeOf(const Modem& modem);
/// What keeps the modem from being used, and what helps; empty when nothing does.
std::string obstacleOf(const Modem& modem);

}  // namespace corvane::modemmanager
