#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Replies.h"
#include "Corvane/requests/SelfTestOptions.h"
#include "Corvane/requests/Services.h"
#include "Corvane/requests/commands/Commands.h"
#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace corvane {

namespace {

enum class DiagnosticsAction { Run, Abort };
enum class NVDataAction { Erase };

const Named<ResetType> kResetTypes[] = {
    {ryn::kBasebandResetTypeSoft, ResetType::Soft},
    {ryn::kBasebandResetTypeHard, ResetType::Hard},
};
const Named<NVDataAction> kNVDataActions[] = {{ryn::kBasebandNVDataErase, NVDataAction::Erase}};
constexpr Named<DiagnosticsAction> kDiagnosticsActions[] = {
    {ryn::kBasebandDiagnosticsActionRun, DiagnosticsAction::Run},
    {ryn::kBasebandDiagnosticsActionAbort, DiagnosticsAction::Abort},
};

/// Passes a question on, and answers with the value as the protocol has it.
template <auto question>
void ask(Services& services, AnswerCompletion answer) {
    (services.baseband().*question)(
        [answer = std::move(answer)](const auto& told) { answer(told.then([](const auto& value) { return toReply(value); })); });
}

void getInfo(Services& services, const AnswerCompletion& answer) {
    services.baseband().getVersion([answer](const Result<BasebandVersion>& version) {
        // A baseband that can't be asked has no version; the daemon's own is told all the same.
        const std::string baseband = version && !version->text.empty() ? version->text : ryn::kUnknown;
        answer(dictionary({{ryn::kKeyCorvaneVersion, text(CORVANE_VERSION)}, {ryn::kKeyBasebandVersion, text(baseband)}}));
    });
}

void setOperatingMode(Services& services, const AnswerCompletion& answer, OperatingMode mode,
                      std::optional<std::int64_t> timeout) {
    if (const auto allowed = mode == OperatingMode::Reset ? services.allowReset() : Result<void>(); !allowed) {
        answer(allowed);
        return;
    }
    // An hour is longer than any client waits, and never overflows a clock.
    constexpr std::int64_t kLongestTimeout = 3600;
    const std::chrono::seconds limit(std::min(timeout.value_or(0), kLongestTimeout));
    services.write([&services, mode, limit, answer] { services.baseband().setOperatingMode(mode, limit, answer); });
}

void reset(Services& services, const AnswerCompletion& answer, ResetType type, std::string_view subType,
           std::string_view reason) {
    services.reset({type, escaped(subType), escaped(reason)}, answer);
}

void changeNVData(Services& services, const AnswerCompletion& answer, NVDataAction) {
    services.erase(answer);
}

void syncFileSystem(Services& services, const AnswerCompletion& answer, bool wait) {
    services.baseband().syncFileSystem(wait, answer);
}

Result<RFSelfTestOptions> readOptions(std::string_view type, const xpc::Object& options) {
    if (type != ryn::kBasebandDiagnosticsTypeRFSelfTest) {
        return Refusal::invalidArgument(
            fmt::format("There is no diagnostics test '{}'; {} is accepted.", type, ryn::kBasebandDiagnosticsTypeRFSelfTest));
    }
    return readSelfTestOptions(options);
}

void runSelfTest(Services& services, const AnswerCompletion& answer, std::string_view type, const xpc::Object& carried) {
    const auto options = readOptions(type, carried);
    if (!options) {
        answer(options.refusal());
        return;
    }
    services.baseband().runSelfTest(*options, [answer](const Result<RFSelfTestEvent>& ended) {
        if (!ended) {
            answer(ended.refusal());
        } else if (ended->status == RFSelfTestEvent::Status::Aborted) {
            answer(Refusal::aborted(ended->error).with(toReply(*ended)));
        } else {
            answer(toReply(*ended));
        }
    });
}

void abortSelfTest(Services& services, const AnswerCompletion& answer) {
    services.baseband().abortSelfTest("on request", [answer](const Result<void>& aborted) {
        answer(aborted ? Answer(dictionary({{ryn::kKeyBasebandDiagnosticsStatus, text(ryn::kBasebandDiagnosticsStatusAborted)}}))
                       : Answer(aborted));
    });
}

void diagnose(Services& services, const Later& later, DiagnosticsAction action, std::string_view type,
              const xpc::Object& options) {
    if (action == DiagnosticsAction::Run) {
        // Nobody is left to see the result, and the next client would be refused until the test has ended.
        const auto abandon = [&services] {
            services.baseband().abortSelfTest("because its client has gone", [](const Result<void>&) {});
        };
        runSelfTest(services, later(abandon), type, options);
    } else {
        abortSelfTest(services, later({}));
    }
}

}  // namespace

void addBasebandCommands(Dispatcher& dispatcher) {
    dispatcher.add({
        {ryn::kCommandGetCorvaneInfo, Effect::Reads, getInfo},
        {ryn::kCommandGetBasebandBootState, Effect::Reads, ask<&Baseband::getBootState>},
        {ryn::kCommandGetBasebandOperatingMode, Effect::Reads, ask<&Baseband::getOperatingMode>},
        {ryn::kCommandSetBasebandOperatingMode, Effect::Changes, setOperatingMode, Mode{ryn::kKeyBasebandOperatingMode},
         OptionalNumber{ryn::kKeyTimeout}},
        {ryn::kCommandGetBasebandTime, Effect::Reads, ask<&Baseband::getTime>},
        {ryn::kCommandGetBasebandWakeReason, Effect::Reads, ask<&Baseband::getWakeReason>},
        {ryn::kCommandResetBaseband, Effect::Changes, reset, Choice{ryn::kKeyBasebandResetType, kResetTypes},
         OptionalText{ryn::kKeyBasebandResetSubType, ryn::kBasebandResetSubTypeUserTriggered},
         OptionalText{ryn::kKeyBasebandResetReason}},
        {ryn::kCommandUnblockBasebandReset, Effect::Changes, &Services::unblockResets},
        {ryn::kCommandBasebandNVData, Effect::Changes, changeNVData, Choice{ryn::kKeyBasebandNVDataAction, kNVDataActions}},
        {ryn::kCommandBasebandSyncFS, Effect::Changes, syncFileSystem, OptionalFlag{ryn::kKeyFSSyncWaitForCompletion, true}},
        {ryn::kCommandBasebandDiagnostics, Effect::Changes, diagnose,
         Choice{ryn::kKeyBasebandDiagnosticsAction, kDiagnosticsActions}, OptionalText{ryn::kKeyBasebandDiagnosticsType},
         Anything{ryn::kKeyBasebandDiagnosticsOptions}},
    });
}

}  // namespace corvane
