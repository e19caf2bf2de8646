#pragma once

#include "Corvane/baseband/modemmanager/ModemFollower.h"
#include "Corvane/baseband/modemmanager/SystemBus.h"
#include "Corvane/support/Refusal.h"

#include <string_view>

namespace corvane::modemmanager {

/// What ModemManager's error means to the user.
/// @param interface whose method failed. @param action what the modem was asked to do, to follow "can't": "go online".
/// @param follower of the modem that was asked, nullptr when it was ModemManager itself. What stands in the modem's way is said
/// while it is there; a modem that ModemManager lost before it was asked is absent.
Refusal refusalFor(const BusError& error, std::string_view interface, std::string_view action, const ModemFollower* follower);

/// Of a modem that was asked, when nobody will say what it did. @param why a clause: "it has gone".
Refusal outcomeUnknown(std::string_view action, std::string_view why);
/// `why`, when another modem has become the chosen one.
inline constexpr std::string_view kReplaced = "it has gone, and another modem has taken its place";

/// Whether ModemManager had lost the modem before it was asked, so that nothing was done.
bool foundNoModem(const BusError& error);

/// Whether the connection to the modem broke, as a reset makes it do before its answer.
bool connectionBroke(const BusError& error);

}  // namespace corvane::modemmanager
