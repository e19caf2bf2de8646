#include "commands/DiagnosticsCommand.h"

#include "commands/Payload.h"
#include "config/Diagnostics.h"
#include "shell/Output.h"

namespace {

constexpr std::int64_t kTargetTxPower3G4G = 200;
constexpr std::int64_t kTargetTxPower2G = 230;
constexpr std::int64_t kLowLimit = 0;
constexpr std::int64_t kHighLimit = 255;
constexpr int kLimitCount = 32;

xpc::Object limits(std::int64_t limit) {
    auto list = xpc::Object::adopt(xpc_array_create(nullptr, 0));
    for (int count = 0; count < kLimitCount; ++count) {
        xpc_array_append_value(list.get(), payload::integer(limit).get());
    }
    return list;
}

xpc::Object selfTestOptions() {
    const auto low = limits(kLowLimit);
    const auto high = limits(kHighLimit);
    return payload::dictionary({
        {ryn::kKeyRFSelfTestTargetTxPower3G4G, payload::integer(kTargetTxPower3G4G)},
        {ryn::kKeyRFSelfTestTargetTxPower2G, payload::integer(kTargetTxPower2G)},
        {ryn::kKeyRFSelfTestPowerRatioLimitLowList, low},
        {ryn::kKeyRFSelfTestPowerRatioLimitHighList, high},
        {ryn::kKeyRFSelfTestForwardPowerLimitLowList, low},
        {ryn::kKeyRFSelfTestForwardPowerLimitHighList, high},
    });
}

}  // namespace

void DiagnosticsCommand::registerCommands() {
    listen();
    registerCommand(
        "run", [this](const dispatch::group& group, const Words& words) { return run(group, words); },
        "[rftest] run a specified diagnostics test");
    registerCommand(
        "abort",
        [this](const dispatch::group& group, const Words&) {
            send(group, ryn::kBasebandDiagnosticsActionAbort, "");
            return true;
        },
        "abort diagnostics test, if it is running");
}

void DiagnosticsCommand::listen() {
    ryn::client::RegisterEventHandler(manager(), ryn::kEventBasebandDiagnostics,
                                      [weakThis = weak_from_this()](const xpc::Object& payload) {
                                          if (const auto self = weakThis.lock()) {
                                              const auto lock = output::hold();
                                              output::printLine({"Event : ", ryn::kEventBasebandDiagnostics});
                                              output::printLine({"Event data : ", xpc::to_string(dictionaryOrNothing(payload))});
                                          }
                                      });
    ryn::client::EventsOn(manager());
}

bool DiagnosticsCommand::run(const dispatch::group& group, const Words& words) {
    const std::string type = words == Words{"rftest"} ? ryn::kBasebandDiagnosticsTypeRFSelfTest : "";
    if (type.empty()) {
        output::printError({"Invalid test type [", type, "] passed."});
        printHelp();
        return false;
    }
    send(group, ryn::kBasebandDiagnosticsActionRun, type);
    return true;
}

void DiagnosticsCommand::send(const dispatch::group& group, const std::string& action, const std::string& type) const {
    const auto argument = payload::dictionary({{ryn::kKeyBasebandDiagnosticsAction, payload::string(action)}});
    if (action == ryn::kBasebandDiagnosticsActionRun && !type.empty()) {
        payload::set(argument, ryn::kKeyBasebandDiagnosticsType, payload::string(type));
        payload::set(argument, ryn::kKeyBasebandDiagnosticsOptions, selfTestOptions());
    }
    const dispatch::EnteredGroup entered(group);
    // The callback's line comes behind this one's, however fast the answer.
    const auto lock = output::hold();
    ryn::client::PerformCommand(
        manager(), ryn::kCommandBasebandDiagnostics,
        [entered, action, type](int result, const xpc::Object& reply) {
            output::printLine({"Callback for command ", action, " to test ", type, " : ", verdict(result)});
            if (result != 0) {
                printErrorDetail(reply);
            }
        },
        argument);
    output::printLine({"Sent command ", action, " to test ", type});
}
