#pragma once

#include "Corvane/baseband/modemmanager/ModemObjects.h"
#include "Corvane/baseband/modemmanager/SystemBus.h"
#include "Corvane/support/Refusal.h"

#include <string_view>

namespace corvane::modemmanager {

/// What ModemManager's error means to the user.
/// @param interface whose method failed. @param action what the modem was asked to do, to follow "can't": "go online".
/// @param modem may be nullptr; what stands in its way is said.
Refusal refusalFor(const BusError& error, std::string_view interface, std::string_view action, const Modem* modem);

/// Whether the connection to the modem broke, as a reset makes it do before its answer.
bool connectionBroke(const BusError& error);

}  // namespace corvane::modemmanager
