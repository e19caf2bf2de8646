#pragma once

#include "Corvane/baseband/OperatingMode.h"

#include <string>

namespace corvane::simulated {

/// What a mode does to the flag in the non-volatile data that keeps the baseband in low power over boots.
enum class Persistence { Keep, Set, Clear };
Persistence persistenceOf(OperatingMode mode);

/// Whether the RF self-test may transmit.
bool isRadioUsable(OperatingMode mode);
/// "0 (online), 1 (low power) and 2 (factory test)"
std::string modesWithRadio();

/// Whether the baseband, in mode `from`, goes to mode `to`.
Result<void> checkModeChange(OperatingMode from, OperatingMode to);

}  // namespace corvane::simulated
