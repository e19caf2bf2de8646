#include "Corvane/baseband/modemmanager/ModemStates.h"

#include "Corvane/baseband/modemmanager/ModemNames.h"

namespace corvane::modemmanager {

BootStatus bootStatusOf(const Modem& modem) {
    switch (modem.state()) {
        case MM_MODEM_STATE_FAILED:
            return {BootState::Off, std::string(failedReasonName(modem.number("StateFailedReason"))), obstacleOf(modem) + "."};
        case MM_MODEM_STATE_UNKNOWN:
        case MM_MODEM_STATE_INITIALIZING:
            return {BootState::Booting};
        default:
            return {BootState::Ready};
    }
}

/// A modem that is being enabled isn't online yet, and one that is being disabled still is.
std::optional<OperatingMode> operatingModeOf(const Modem& modem) {
    const MMModemState state = modem.state();
    if (state == MM_MODEM_STATE_DISABLING || state >= MM_MODEM_STATE_ENABLED) {
        return OperatingMode::Online;
    }
    switch (modem.number("PowerState")) {
        case MM_MODEM_POWER_STATE_OFF:
            return OperatingMode::Offline;
        case MM_MODEM_POWER_STATE_LOW:
            return OperatingMode::LowPower;
        default:
            return std::nullopt;
    }
}

std::string obstacleOf(const Modem& modem) {
    switch (modem.state()) {
        case MM_MODEM_STATE_FAILED:
            return "ModemManager found it unusable: " + std::string(failedReasonName(modem.number("StateFailedReason")));
        case MM_MODEM_STATE_LOCKED: {
            const std::string sim = modem.text("Sim");
            return "its lock is " + std::string(lockName(modem.number("UnlockRequired"))) +
                   ", \"mmcli --sim=" + sim.substr(sim.rfind('/') + 1) + " --pin=PIN\" opens the SIM's";
        }
        default:
            return {};
    }
}

}  // namespace corvane::modemmanager
