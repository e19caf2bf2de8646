#pragma once

#include "Corvane/baseband/Baseband.h"
#include "platform/xpc/Object.h"

/// The baseband's values as the protocol has them: dictionaries that are replies and the payloads of events.
namespace corvane {

/// {KeyBasebandBootState: string}, and KeyErrorString with the explanation when it failed to boot.
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

}  // namespace corvane
