#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Services.h"
#include "Corvane/requests/commands/Commands.h"
#include "platform/ryn/constants.h"

#include <limits>

namespace corvane {

namespace {

const char* textOf(CFStringRef string) {
    return CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
}

const Named<PowerLog> kPowerLogs[] = {{textOf(kNPAPowerLog), PowerLog::NPA}, {textOf(kF3PowerLog), PowerLog::F3}};
const Named<PowerLogAction> kActions[] = {
    {textOf(kActionEnable), PowerLogAction::Enable},
    {textOf(kActionDisable), PowerLogAction::Disable},
    {textOf(kActionDumpLog), PowerLogAction::Dump},
};

void controlLog(Services& services, const AnswerCompletion& answer, PowerLogAction action, PowerLog log) {
    services.write([&services, log, action, answer] { services.baseband().controlPowerLog(log, action, answer); });
}

void simulateNotification(Services& services, const AnswerCompletion& answer, std::int64_t message) {
    const auto code = static_cast<std::uint32_t>(message);
    services.write([&services, code, answer] { services.baseband().simulatePowerNotification(code, answer); });
}

}  // namespace

void addPowerCommands(Dispatcher& dispatcher) {
    dispatcher.add({
        // A power log travels under the key of a trace property.
        {textOf(kCommandLogCollection), Effect::Changes, controlLog, Choice{textOf(kKeyLogCollectionAction), kActions},
         Choice{ryn::kKeyTracePropertyName, kPowerLogs}},
        {ryn::kCommandSimulatePowerNotification, Effect::Changes, simulateNotification,
         Number{ryn::kKeyPowerNotificationMessage, 0, std::numeric_limits<std::uint32_t>::max()}},
    });
}

}  // namespace corvane
