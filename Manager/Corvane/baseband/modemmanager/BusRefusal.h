#pragma once

#include "Corvane/baseband/modemmanager/SystemBus.h"
#include "Corvane/support/Refusal.h"

#include <string_view>

namespace corvane::modemmanager {

/// What ModemManager's error means to the user.
/// @param action what the modem was asked to do, to follow "can't": "go online".
/// @param obstacle what is known to stand in its way; may be empty.
Refusal refusalFor(const BusError& error, std::string_view action, std::string_view obstacle);

/// Whether the modem may have left the bus while it was talked to, as a reset makes it do: not known to have refused.
bool mayHaveLeft(const BusError& error);

}  // namespace corvane::modemmanager
