#include "Corvane/baseband/modemmanager/ModemStates.h"

#include <cstddef>
#include <iterator>

namespace corvane::modemmanager {
namespace {

// Each table in the order of its numbers, from 0.
constexpr std::string_view kStates[] = {"unknown", "initializing", "locked",     "disabled",      "disabling",  "enabling",
                                        "enabled", "searching",    "registered", "disconnecting", "connecting", "connected"};
constexpr std::string_view kFailedReasons[] = {
    "none", "unknown", "sim-missing", "sim-error", "unknown-capabilities", "esim-without-profiles"};
constexpr std::string_view kPowerStates[] = {"unknown", "off", "low", "on"};
constexpr std::string_view kLocks[] = {"unknown",       "none",         "sim-pin",     "sim-pin2",    "sim-puk",
                                       "sim-puk2",      "ph-sp-pin",    "ph-sp-puk",   "ph-net-pin",  "ph-net-puk",
                                       "ph-sim-pin",    "ph-corp-pin",  "ph-corp-puk", "ph-fsim-pin", "ph-fsim-puk",
                                       "ph-netsub-pin", "ph-netsub-puk"};
constexpr std::string_view kRegistrations[] = {"idle",
                                               "home",
                                               "searching",
                                               "denied",
                                               "unknown",
                                               "roaming",
                                               "home-sms-only",
                                               "roaming-sms-only",
                                               "emergency-only",
                                               "home-csfb-not-preferred",
                                               "roaming-csfb-not-preferred",
                                               "attached-rlos"};
/// By the number of the bit.
constexpr std::string_view kAccessTechnologies[] = {"pots",  "gsm",   "gsm-compact", "gprs",      "edge",      "umts",
                                                    "hsdpa", "hsupa", "hspa",        "hspa-plus", "1xrtt",     "evdo0",
                                                    "evdoa", "evdob", "lte",         "5gnr",      "lte-cat-m", "lte-nb-iot"};

template <std::size_t size>
std::string_view nameIn(const std::string_view (&names)[size], std::int64_t value) {
    return value >= 0 && value < std::ssize(names) ? names[static_cast<std::size_t>(value)] : "unknown";
}

}  // namespace

ModemState stateOf(const Modem& modem) {
    return static_cast<ModemState>(modem.number("State"));
}

PowerState powerStateOf(const Modem& modem) {
    return static_cast<PowerState>(modem.number("PowerState"));
}

BootStatus bootStatusOf(const Modem& modem) {
    switch (stateOf(modem)) {
        case ModemState::Failed:
            return {BootState::Off, std::string(failedReasonName(modem.number("StateFailedReason"))), obstacleOf(modem) + "."};
        case ModemState::Unknown:
        case ModemState::Initializing:
            return {BootState::Booting};
        default:
            return {BootState::Ready};
    }
}

/// A modem that is being enabled isn't online yet, and one that is being disabled still is.
OperatingMode operatingModeOf(const Modem& modem) {
    const ModemState state = stateOf(modem);
    if (state == ModemState::Disabling || state >= ModemState::Enabled) {
        return OperatingMode::Online;
    }
    return powerStateOf(modem) == PowerState::Off ? OperatingMode::Offline : OperatingMode::LowPower;
}

std::string obstacleOf(const Modem& modem) {
    switch (stateOf(modem)) {
        case ModemState::Failed:
            return "ModemManager found it unusable: " + std::string(failedReasonName(modem.number("StateFailedReason")));
        case ModemState::Locked: {
            const std::string sim = modem.text("Sim");
            return "its lock is " + std::string(lockName(modem.number("UnlockRequired"))) +
                   ", \"mmcli --sim=" + sim.substr(sim.rfind('/') + 1) + " --pin=PIN\" opens the SIM's";
        }
        default:
            return {};
    }
}

std::string_view stateName(std::int64_t state) {
    return state == static_cast<std::int64_t>(ModemState::Failed) ? "failed" : nameIn(kStates, state);
}

std::string_view failedReasonName(std::int64_t reason) {
    return nameIn(kFailedReasons, reason);
}

std::string_view powerStateName(std::int64_t state) {
    return nameIn(kPowerStates, state);
}

std::string_view lockName(std::int64_t lock) {
    return nameIn(kLocks, lock);
}

std::string_view registrationName(std::int64_t state) {
    return nameIn(kRegistrations, state);
}

std::vector<std::string_view> accessTechnologyNames(std::int64_t technologies) {
    std::vector<std::string_view> names;
    for (std::size_t bit = 0; bit < std::size(kAccessTechnologies); ++bit) {
        if ((static_cast<std::uint64_t>(technologies) >> bit & 1U) != 0) {
            names.push_back(kAccessTechnologies[bit]);
        }
    }
    return names;
}

}  // namespace corvane::modemmanager
