#include "Corvane/requests/Replies.h"

#include "Client/wire/Packet.h"
#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <fmt/format.h>

#include <algorithm>

namespace corvane {
namespace {

struct MeasurementList {
    const char* key;
    PortMeasurements RFSelfTestResult::*port;
    ChannelValues PortMeasurements::*values;
};
constexpr MeasurementList kLists[] = {
    {ryn::kKeyRFSelfTestPowerRatioMeasurementPortAList, &RFSelfTestResult::portA, &PortMeasurements::powerRatio},
    {ryn::kKeyRFSelfTestPowerRatioMeasurementPortBList, &RFSelfTestResult::portB, &PortMeasurements::powerRatio},
    {ryn::kKeyRFSelfTestForwardPowerMeasurementPortAList, &RFSelfTestResult::portA, &PortMeasurements::forwardPower},
    {ryn::kKeyRFSelfTestForwardPowerMeasurementPortBList, &RFSelfTestResult::portB, &PortMeasurements::forwardPower},
    {ryn::kKeyRFSelfTestReversePowerMeasurementPortAList, &RFSelfTestResult::portA, &PortMeasurements::reversePower},
    {ryn::kKeyRFSelfTestReversePowerMeasurementPortBList, &RFSelfTestResult::portB, &PortMeasurements::reversePower},
    {ryn::kKeyRFSelfTestRSSIMeasurementPortAList, &RFSelfTestResult::portA, &PortMeasurements::rssi},
    {ryn::kKeyRFSelfTestRSSIMeasurementPortBList, &RFSelfTestResult::portB, &PortMeasurements::rssi},
};

xpc::Object toReply(const RFSelfTestResult& result) {
    const auto verdict = [](bool passed) { return text(passed ? "Passed" : "Failed"); };
    xpc::Object reply = dictionary({{ryn::kKeyRFSelfTestOverallStatus, verdict(result.passed())},
                                    {ryn::kKeyRFSelfTestPowerRatioStatus, verdict(result.powerRatioPassed)},
                                    {ryn::kKeyRFSelfTestForwardPowerStatus, verdict(result.forwardPowerPassed)}});
    for (const MeasurementList& list : kLists) {
        const ChannelValues& values = result.*list.port.*list.values;
        std::vector<xpc::Object> numbers(values.size());
        std::ranges::transform(values, numbers.begin(), number);
        set(reply, list.key, xpc::array(numbers));
    }
    return reply;
}

/// The lowest and the highest.
xpc::Object spokenVersions() {
    const xpc::Object version = number(ryn::wire::kProtocolVersion);
    return xpc::array({version, version});
}

}  // namespace

xpc::Object toReply(const BootStatus& status) {
    xpc::Object reply = dictionary({{ryn::kKeyBasebandBootState, text(describe(status))}});
    if (!status.explanation.empty()) {
        set(reply, ryn::kKeyErrorString, text(status.explanation));
    }
    if (status.wantedMode) {
        set(reply, ryn::kKeyBasebandOperatingMode, number(static_cast<std::int64_t>(*status.wantedMode)));
    }
    return reply;
}

xpc::Object toReply(OperatingMode mode) {
    return dictionary({{ryn::kKeyBasebandOperatingMode, number(static_cast<std::int64_t>(mode))}});
}

xpc::Object toReply(const BasebandTime& time) {
    return dictionary({{ryn::kKeyBasebandTimeAsString, text(time.text)}});
}

xpc::Object toReply(const WakeReason& wake) {
    xpc::Object reply = dictionary({{ryn::kKeyBasebandWakeChannel, number(wake.channel)}});
    if (wake.channel == 0) {
        return reply;
    }
    set(reply, ryn::kKeyBasebandWakeReason, text(wake.reason));
    set(reply, ryn::kKeyBasebandWakeTime, text(wake.time));
    set(reply, ryn::kKeyBasebandWakeCount, number(wake.count));
    if (wake.sleptMilliseconds) {
        set(reply, ryn::kKeyBasebandWakeSleptMilliseconds, number(*wake.sleptMilliseconds));
    }
    return reply;
}

xpc::Object toReply(const RFSelfTestEvent& event) {
    xpc::Object reply = dictionary({{ryn::kKeyBasebandDiagnosticsType, text(ryn::kBasebandDiagnosticsTypeRFSelfTest)},
                                    {ryn::kKeyBasebandDiagnosticsStatusData,
                                     dictionary({{ryn::kKeyBasebandDiagnosticsPercentage, number(event.percentage)}})}});
    if (event.status != RFSelfTestEvent::Status::Running) {
        const bool complete = event.status == RFSelfTestEvent::Status::Complete;
        set(reply, ryn::kKeyBasebandDiagnosticsStatus,
            text(complete ? ryn::kBasebandDiagnosticsStatusComplete : ryn::kBasebandDiagnosticsStatusAborted));
    }
    if (event.result) {
        set(reply, ryn::kKeyBasebandDiagnosticsResult, toReply(*event.result));
        if (!event.result->passed()) {
            // Bit 0: a power ratio is outside its limits, bit 1: a forward power is.
            const int code = (event.result->powerRatioPassed ? 0 : 1) | (event.result->forwardPowerPassed ? 0 : 2);
            set(reply, ryn::kKeyBasebandDiagnosticsErrorCode, number(code));
        }
    }
    if (!event.error.empty()) {
        set(reply, ryn::kKeyBasebandDiagnosticsErrorString, text(event.error));
    }
    return reply;
}

xpc::Object errorReply(const Refusal& refusal) {
    xpc::Object reply = dictionary({});
    setAll(reply, refusal.details);
    set(reply, ryn::kKeyErrorCode, number(refusal.result()));
    set(reply, ryn::kKeyErrorString, text(escaped(refusal.sentence)));
    return reply;
}

xpc::Object helloReply(const std::vector<std::string_view>& commands) {
    std::vector<xpc::Object> features(commands.size());
    std::ranges::transform(commands, features.begin(), text);
    return dictionary({{ryn::kKeyProtocolVersion, number(ryn::wire::kProtocolVersion)},
                       {ryn::kKeyProtocolVersions, spokenVersions()},
                       {ryn::kKeyFeatures, xpc::array(features)},
                       {ryn::kKeyCorvaneVersion, text(CORVANE_VERSION)}});
}

Refusal versionNotSpoken(const std::string& asked) {
    const std::string sentence = fmt::format(
        "This manager speaks version {} of the protocol and the client version {}; use a client of this manager's release.",
        ryn::wire::kProtocolVersion, asked);
    return Refusal::versionNotSpoken(sentence).with(dictionary({{ryn::kKeyProtocolVersions, spokenVersions()}}));
}

}  // namespace corvane
