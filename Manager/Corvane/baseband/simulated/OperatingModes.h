#pragma once

#include "Corvane/baseband/Baseband.h"

#include <optional>
#include <string>

namespace corvane::simulated {

/// What a mode does to the flag in the non-volatile data that keeps the baseband in low power over boots.
enum class Persistence { Keep, Set, Clear };

struct ModeRule {
    OperatingMode mode;
    const char* name;
    Persistence persistence;
    bool radioUsable;  ///< whether the RF self-test may transmit
};

/// nullptr when there is no such mode.
const ModeRule* findMode(std::int64_t number);
const ModeRule& ruleOf(OperatingMode mode);

/// "3 (offline)"
std::string describe(OperatingMode mode);
/// "0 (online), 1 (low power) and 2 (factory test)"
std::string modesWithRadio();

/// Why the baseband, in mode `from`, refuses to go to mode `to`; nullopt when it doesn't.
std::optional<Refusal> refuseMode(OperatingMode from, std::int64_t to);

}  // namespace corvane::simulated
