#pragma once

#include "Corvane/baseband/Baseband.h"
#include "platform/xpc/Object.h"

#include <string>
#include <string_view>
#include <vector>

/// The baseband's values as the protocol has them, dictionaries that are replies and the payloads of events, and what the manager
/// tells of itself.
namespace corvane {

/// {KeyBasebandBootState: string}; KeyErrorString with the explanation when it failed to boot; KeyBasebandOperatingMode: the mode
/// asked for since it booted.
xpc::Object toReply(const BootStatus& status);
/// {KeyBasebandOperatingMode: int64}
xpc::Object toReply(OperatingMode mode);
/// {KeyBasebandTimeAsString: string}
xpc::Object toReply(const BasebandTime& time);
/// {KeyBasebandWakeChannel: int64}, and the rest when the channel isn't 0.
xpc::Object toReply(const WakeReason& wake);
/// {KeyBasebandDiagnosticsType: string, KeyBasebandDiagnosticsStatusData: dictionary}; and the status, the result and the error
/// of a test that has ended.
xpc::Object toReply(const RFSelfTestEvent& event);
/// {KeyErrorCode: int64, KeyErrorString: string} and its details.
xpc::Object errorReply(const Refusal& refusal);
/// {KeyProtocolVersion: int64, KeyProtocolVersions: the lowest and the highest, KeyFeatures: the commands' names,
/// KeyCorvaneVersion: string}
xpc::Object helloReply(const std::vector<std::string_view>& commands);
/// With KeyProtocolVersions. @param asked "2 to 3"
Refusal versionNotSpoken(const std::string& asked);

}  // namespace corvane
