#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/modemmanager/ModemFollower.h"

namespace corvane::modemmanager {

/// The modem's state, lock, power, signal, bands, access technologies and registration in ModemManager's words: {"State":
/// "registered", "SignalQualityPercentage": 64, ...}. What isn't known is left out.
xpc::Object modemStatistics(const Modem& modem);

/// The cell that the modem, which must be there, is in: {"MCC": "001", "MNC": "01", "LAC": "1", "Cell": "ABCD", "TAC": "0"}, the
/// last three hexadecimal, without what isn't known.
void askPlace(ModemFollower& follower, Completion<xpc::Object> completion);

/// All that ModemManager shows of the modem, its SIM, its place in the network and its bearers: "modem.json" and "bearers.json".
/// Without a modem: no file.
void collectModemSnapshot(ModemFollower& follower, Completion<SnapshotFiles> completion);

}  // namespace corvane::modemmanager
