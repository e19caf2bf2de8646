#include "Corvane/requests/Arguments.h"
#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Manager.h"
#include "Corvane/requests/Replies.h"
#include "Corvane/requests/SelfTestOptions.h"
#include "Corvane/requests/commands/Commands.h"
#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"
#include "config/Diagnostics.h"
#include "platform/ryn/constants.h"

#include <cstdint>
#include <limits>

namespace corvane {

namespace {

using Later = std::optional<Answer>;  ///< nothing, where the baseband answers
constexpr auto kLowest = std::numeric_limits<std::int64_t>::min();
constexpr auto kHighest = std::numeric_limits<std::int64_t>::max();

/// A question that takes no argument, passed on; so anything may come as one.
template <typename Value, void (Baseband::*question)(Completion<Value>)>
Later ask(Manager& manager, const Call& call) {
    (manager.baseband().*question)([answer = call.later()](const Result<Value>& value) {
        answer(value ? Answer(toReply(*value)) : Answer(value.refusal()));
    });
    return std::nullopt;
}

Later getInfo(Manager& manager, const Call& call) {
    manager.baseband().getVersion([answer = call.later()](const Result<BasebandVersion>& version) {
        // A baseband that can't be asked has no version; the daemon's own is told all the same.
        const std::string baseband = version && !version->text.empty() ? version->text : ryn::kUnknown;
        answer(dictionary({{ryn::kKeyCorvaneVersion, text(CORVANE_VERSION)}, {ryn::kKeyBasebandVersion, text(baseband)}}));
    });
    return std::nullopt;
}

Later setOperatingMode(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::int64_t number = arguments.number(ryn::kKeyBasebandOperatingMode, kLowest, kHighest);
    const std::int64_t timeout = arguments.optionalNumber(ryn::kKeyTimeout, kLowest, kHighest).value_or(0);
    if (!arguments) {
        return arguments.refusal();
    }
    const auto mode = operatingMode(number);
    if (!mode) {
        return Answer{mode.refusal()};
    }
    if (*mode == OperatingMode::Reset) {
        if (auto blocked = manager.refuseReset()) {
            return blocked;
        }
    }
    // An hour is longer than any client waits, and never overflows a clock.
    constexpr std::int64_t kLongestTimeout = 3600;
    manager.baseband().setOperatingMode(*mode, std::chrono::seconds(std::min(timeout, kLongestTimeout)), call.later());
    return std::nullopt;
}

Later reset(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::string_view type = arguments.text(ryn::kKeyBasebandResetType);
    const std::string_view subType =
        arguments.optionalText(ryn::kKeyBasebandResetSubType, ryn::kBasebandResetSubTypeUserTriggered);
    const std::string_view reason = arguments.optionalText(ryn::kKeyBasebandResetReason, "");
    const bool soft = type == ryn::kBasebandResetTypeSoft;
    if (arguments && !soft && type != ryn::kBasebandResetTypeHard) {
        arguments.refuse("There is no reset '" + std::string(type) + "'; there are '" + ryn::kBasebandResetTypeSoft + "' and '" +
                         ryn::kBasebandResetTypeHard + "'.");
    }
    if (!arguments) {
        return arguments.refusal();
    }
    if (auto blocked = manager.refuseReset()) {
        return blocked;
    }
    manager.baseband().reset({soft ? ResetType::Soft : ResetType::Hard, escaped(subType), escaped(reason)}, call.later());
    return std::nullopt;
}

Later unblockReset(Manager& manager, const Call&) {
    return manager.unblockResets();
}

Later changeNVData(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::string_view action = arguments.text(ryn::kKeyBasebandNVDataAction);
    if (arguments && action != ryn::kBasebandNVDataErase) {
        arguments.refuse("There is no action '" + std::string(action) + "' on the non-volatile data; there is '" +
                         ryn::kBasebandNVDataErase + "'.");
    }
    if (!arguments) {
        return arguments.refusal();
    }
    manager.baseband().eraseNVData([&manager, answer = call.later()](const Result<void>& erased) {
        auto refusal = erased ? manager.resetSettings() : erased.refusal();
        answer(std::move(refusal));
    });
    return std::nullopt;
}

Later syncFileSystem(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const bool wait = arguments.optionalFlag(ryn::kKeyFSSyncWaitForCompletion, true);
    if (!arguments) {
        return arguments.refusal();
    }
    manager.baseband().syncFileSystem(wait, call.later());
    return std::nullopt;
}

Later diagnose(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::string_view action = arguments.text(ryn::kKeyBasebandDiagnosticsAction);
    const std::string_view type = arguments.optionalText(ryn::kKeyBasebandDiagnosticsType, "");
    const bool run = action == ryn::kBasebandDiagnosticsActionRun;
    if (arguments && !run && action != ryn::kBasebandDiagnosticsActionAbort) {
        arguments.refuse("There is no diagnostics action '" + std::string(action) + "'; there are " +
                         ryn::kBasebandDiagnosticsActionRun + " and " + ryn::kBasebandDiagnosticsActionAbort + ".");
    }
    if (!arguments) {
        return arguments.refusal();
    }
    if (!run) {
        manager.baseband().abortSelfTest([answer = call.later()](const Result<void>& aborted) {
            answer(aborted
                       ? Answer(dictionary({{ryn::kKeyBasebandDiagnosticsStatus, text(ryn::kBasebandDiagnosticsStatusAborted)}}))
                       : Answer(aborted));
        });
        return std::nullopt;
    }
    if (type != ryn::kBasebandDiagnosticsTypeRFSelfTest) {
        return Answer{Refusal::invalidArgument("There is no diagnostics test '" + std::string(type) + "'; " +
                                               ryn::kBasebandDiagnosticsTypeRFSelfTest + " is accepted.")};
    }
    const auto options = readSelfTestOptions(
        xpc::Object::share(xpc_dictionary_get_value(call.argument.get(), ryn::kKeyBasebandDiagnosticsOptions)));
    if (!options) {
        return Answer{options.refusal()};
    }
    manager.baseband().runSelfTest(*options, [answer = call.later()](const Result<RFSelfTestEvent>& ended) {
        if (!ended) {
            answer(ended.refusal());
        } else if (ended->status == RFSelfTestEvent::Status::Aborted) {
            answer({Refusal::aborted(ended->error), toReply(*ended)});
        } else {
            answer(toReply(*ended));
        }
    });
    return std::nullopt;
}

}  // namespace

void addBasebandCommands(Dispatcher& dispatcher) {
    dispatcher.add({
        {ryn::kCommandGetCorvaneInfo, getInfo},
        {ryn::kCommandGetBasebandBootState, ask<BootStatus, &Baseband::getBootState>},
        {ryn::kCommandGetBasebandOperatingMode, ask<OperatingMode, &Baseband::getOperatingMode>},
        {ryn::kCommandSetBasebandOperatingMode, setOperatingMode},
        {ryn::kCommandGetBasebandTime, ask<BasebandTime, &Baseband::getTime>},
        {ryn::kCommandGetBasebandWakeReason, ask<WakeReason, &Baseband::getWakeReason>},
        {ryn::kCommandResetBaseband, reset},
        {ryn::kCommandUnblockBasebandReset, unblockReset},
        {ryn::kCommandBasebandNVData, changeNVData},
        {ryn::kCommandBasebandSyncFS, syncFileSystem},
        {ryn::kCommandBasebandDiagnostics, diagnose},
    });
}

}  // namespace corvane
