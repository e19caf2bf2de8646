#pragma once

#include "Corvane/baseband/OperatingMode.h"

#include <optional>
#include <string>

namespace corvane {

enum class BootState { Off, Booting, Ready, Resetting };

/// A boot state, and why the baseband is off when it failed to boot.
struct BootStatus {
    BootState state = BootState::Off;
    std::string failure = {};                      ///< a word: "sim-missing"; empty: it didn't fail
    std::string explanation = {};                  ///< a sentence on the failure for the user
    std::optional<OperatingMode> wantedMode = {};  ///< what was asked for since the baseband has booted

    bool operator==(const BootStatus&) const = default;
};

/// "Off", "Booting", "Ready" or "Resetting".
const char* nameOf(BootState state);
/// The state's name, with the failure in parentheses: "Off (sim-missing)".
std::string describe(const BootStatus& status);

}  // namespace corvane
