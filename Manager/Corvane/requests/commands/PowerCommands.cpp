#include "Corvane/requests/Arguments.h"
#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Manager.h"
#include "Corvane/requests/commands/Commands.h"
#include "platform/ryn/constants.h"

#include <array>
#include <limits>
#include <string>

namespace corvane {

namespace {

const char* textOf(CFStringRef string) {
    return CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
}

template <typename Value>
struct Named {
    CFStringRef name;
    Value value;
};

const std::array<Named<PowerLog>, 2> kPowerLogs{{{kNPAPowerLog, PowerLog::NPA}, {kF3PowerLog, PowerLog::F3}}};
const std::array<Named<PowerLogAction>, 3> kActions{{
    {kActionEnable, PowerLogAction::Enable},
    {kActionDisable, PowerLogAction::Disable},
    {kActionDumpLog, PowerLogAction::Dump},
}};

/// What `key` names; the first value, and a refusal, when it names none.
template <typename Value, std::size_t count>
Value choose(Arguments& arguments, const char* key, const std::array<Named<Value>, count>& choices) {
    const std::string_view name = arguments.text(key);
    std::string known;
    for (const auto& choice : choices) {
        if (name == textOf(choice.name)) {
            return choice.value;
        }
        known += (known.empty() ? "" : ", ") + std::string(textOf(choice.name));
    }
    arguments.refuse(std::string(key) + " can't be '" + std::string(name) + "'; it takes " + known + ".");
    return choices[0].value;
}

std::optional<Answer> controlLog(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const PowerLogAction action = choose(arguments, textOf(kKeyLogCollectionAction), kActions);
    // A power log travels under the key of a trace property.
    const PowerLog log = choose(arguments, ryn::kKeyTracePropertyName, kPowerLogs);
    if (!arguments) {
        return arguments.refusal();
    }
    manager.baseband().controlPowerLog(log, action, call.later());
    return std::nullopt;
}

std::optional<Answer> simulateNotification(Manager& manager, const Call& call) {
    Arguments arguments(call.argument);
    const std::int64_t message =
        arguments.number(ryn::kKeyPowerNotificationMessage, 0, std::numeric_limits<std::uint32_t>::max());
    if (!arguments) {
        return arguments.refusal();
    }
    manager.baseband().simulatePowerNotification(static_cast<std::uint32_t>(message), call.later());
    return std::nullopt;
}

}  // namespace

void addPowerCommands(Dispatcher& dispatcher) {
    dispatcher.add({
        {textOf(kCommandLogCollection), controlLog},
        {ryn::kCommandSimulatePowerNotification, simulateNotification},
    });
}

}  // namespace corvane
