#include "Corvane/baseband/simulated/OperatingModes.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace corvane::simulated {
namespace {

/// At the index of the mode.
constexpr Persistence kPersistence[] = {Persistence::Clear, Persistence::Clear, Persistence::Clear, Persistence::Keep,
                                        Persistence::Keep,  Persistence::Keep,  Persistence::Set,   Persistence::Clear};
static_assert(std::size(kPersistence) == static_cast<std::size_t>(OperatingMode::ModeOnlyLowPower) + 1);

constexpr OperatingMode kWithRadio[] = {OperatingMode::Online, OperatingMode::LowPower, OperatingMode::FactoryTest};

}  // namespace

Persistence persistenceOf(OperatingMode mode) {
    return kPersistence[static_cast<std::size_t>(mode)];
}

bool isRadioUsable(OperatingMode mode) {
    return std::ranges::find(kWithRadio, mode) != std::end(kWithRadio);
}

std::string modesWithRadio() {
    return enumerate(kWithRadio);
}

Result<void> checkModeChange(OperatingMode from, OperatingMode to) {
    if (to == OperatingMode::Reset && from != OperatingMode::Offline) {
        return Refusal::wrongState(fmt::format("Operating mode {} is accepted from mode {} only; the baseband is in mode {}.",
                                               describe(to), describe(OperatingMode::Offline), describe(from)));
    }
    return {};
}

}  // namespace corvane::simulated
