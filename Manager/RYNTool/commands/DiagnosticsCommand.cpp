#include "commands/Groups.h"

#include <vector>

namespace {

/// One limit for each of the 32 measurements.
xpc::Object limits(std::int64_t limit) {
    return xpc::array(std::vector(32, xpc::number(limit)));
}

xpc::Object selfTestOptions() {
    const auto low = limits(0);
    const auto high = limits(255);
    return xpc::dictionary({
        {ryn::kKeyRFSelfTestTargetTxPower3G4G, xpc::number(200)},
        {ryn::kKeyRFSelfTestTargetTxPower2G, xpc::number(230)},
        {ryn::kKeyRFSelfTestPowerRatioLimitLowList, low},
        {ryn::kKeyRFSelfTestPowerRatioLimitHighList, high},
        {ryn::kKeyRFSelfTestForwardPowerLimitLowList, low},
        {ryn::kKeyRFSelfTestForwardPowerLimitHighList, high},
    });
}

/// "baseband diagnostics": runs and aborts the RF self-test, and prints what the manager tells of it at any time.
struct DiagnosticsCommand : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override {
        listen();
        registerLeaf<&DiagnosticsCommand::run>("run", "[rftest] run a specified diagnostics test");
        registerLeaf<&DiagnosticsCommand::abort>("abort", "abort diagnostics test, if it is running");
    }

    void listen() {
        ryn::client::RegisterEventHandler(
            manager(), ryn::kEventBasebandDiagnostics, [weakThis = weak_from_this()](const xpc::Object& payload) {
                if (const auto self = weakThis.lock()) {
                    const auto lock = output::hold();
                    output::printLine({"Event : ", ryn::kEventBasebandDiagnostics});
                    output::printLine({"Event data : ", xpc::to_string(dictionaryOrNothing(payload))});
                }
            });
        ryn::client::EventsOn(manager());
    }

    bool run(const Group& group, const Words& words) {
        if (words != Words{"rftest"}) {
            // The type of a test that doesn't exist is empty: the word typed has never stood between these brackets.
            output::printError({"Invalid test type [] passed."});
            return failWithHelp();
        }
        return send(group, ryn::kBasebandDiagnosticsActionRun, ryn::kBasebandDiagnosticsTypeRFSelfTest);
    }

    bool abort(const Group& group, const Words&) { return send(group, ryn::kBasebandDiagnosticsActionAbort, ""); }

    /// Prints the outcome when it has come. @param type of the test to run; empty for another action. @return true
    bool send(const Group& group, const std::string& action, const std::string& type) const {
        const auto argument = xpc::dictionary({{ryn::kKeyBasebandDiagnosticsAction, xpc::text(action)}});
        if (!type.empty()) {
            xpc::set(argument, ryn::kKeyBasebandDiagnosticsType, xpc::text(type));
            xpc::set(argument, ryn::kKeyBasebandDiagnosticsOptions, selfTestOptions());
        }
        // The callback's line comes behind this one's, however fast the answer.
        const auto lock = output::hold();
        ryn::client::PerformCommand(
            manager(), ryn::kCommandBasebandDiagnostics,
            [entered = dispatch::EnteredGroup(group), action, type](int result, const xpc::Object& reply) {
                output::printLine({"Callback for command ", action, " to test ", type, " : ", verdict(result)});
                if (result != 0) {
                    printErrorDetail(reply);
                }
            },
            argument);
        output::printLine({"Sent command ", action, " to test ", type});
        return true;
    }
};

}  // namespace

NodeFactory* const createDiagnosticsCommand = create<DiagnosticsCommand>;
