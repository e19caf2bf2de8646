#pragma once

#include "Client/wire/Packet.h"
#include "Corvane/requests/Audit.h"
#include "Corvane/support/Result.h"

#include <string>

/// What clients ask, what they are answered and what happens: shown in the log, and recorded, each with its time in a line of
/// JSON:
///
///     {"recording":1,"version":"1.0.0","time":"2026-11-21T12:34:56.789Z"}
///     {"ms":512,"client":1,"name":"ryntool","id":1,"request":"GetBasebandOperatingModeCommand","argument":null}
///     {"ms":513,"client":1,"id":1,"result":0,"reply":{"KeyBasebandOperatingMode":0}}
///     {"ms":790,"event":"BasebandBootStateChangeNotification","payload":{"KeyBasebandBootState":"Ready"}}
///
/// "ms" is the time since the beginning. A reply has the client and the id of its request.
namespace corvane::recording {

constexpr int kVersion = 1;

/// @param file is replaced. A refusal is a clause.
Result<void> begin(const std::string& file);

/// From now on the log shows requests and replies.
void showInLog();
bool isShownInLog();

// What passes: written to the recording if there is one, requests and replies also to the log if it shows them.
void request(const Requester& client, const ryn::wire::Request& request);
void reply(const Requester& client, const ryn::wire::Reply& reply);
void event(const ryn::wire::Event& event);

}  // namespace corvane::recording
