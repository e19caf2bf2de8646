#pragma once

#include "Corvane/baseband/modemmanager/ModemFollower.h"
#include "Corvane/baseband/modemmanager/SystemBus.h"
#include "Corvane/support/Refusal.h"

#include <string_view>

namespace corvane::modemmanager {

/// What ModemManager's error means to the user.
/// @param interface whose method failed. @param action what the modem was asked to do, to follow "can't": "go online".
/// @param follower of the modem that was asked, nullptr when it was ModemManager itself. What stands in the modem's
/// way is said, and a modem that ModemManager lost before it was asked is absent.
Refusal refusalFor(const BusError& error, std::string_view interface, std::string_view action, const ModemFollower* follower);

/// Whether ModemManager had lost the modem before it was asked, so that nothing was done.
bool foundNoModem(const BusError& error);

/// Whether the connection to the modem broke, as a reset makes it do before its answer.
bool connectionBroke(const BusError& error);

}  // namespace corvane::modemmanager
