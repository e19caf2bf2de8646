#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/modemmanager/ModemObjects.h"

#include <optional>
#include <string>

namespace corvane::modemmanager {

BootStatus bootStatusOf(const Modem& modem);
/// nullopt when it is in none: not enabled, though its power is on or not known.
std::optional<OperatingMode> operatingModeOf(const Modem& modem);
/// What keeps the modem from being used, and what helps; empty when nothing does.
std::string obstacleOf(const Modem& modem);

}  // namespace corvane::modemmanager
