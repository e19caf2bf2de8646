#include "commands/PowerCommand.h"

#include "commands/Payload.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

#include <cstdint>
#include <cstdlib>

namespace {

std::string textOf(CFStringRef string) {
    return CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
}

/// Empty unless the words are exactly one that names a log.
std::string logNamedBy(const Words& words) {
    if (words.size() != 1) {
        return {};
    }
    if (words.front() == "npa") {
        return textOf(kNPAPowerLog);
    }
    return words.front() == "f3" ? textOf(kF3PowerLog) : std::string();
}

}  // namespace

void PowerCommand::registerCommands() {
    registerCommand(
        "enable", [this](const auto&, const Words& words) { return requestLog(kActionEnable, words); },
        "[npa|f3] enable power log collection from baseband");
    registerCommand(
        "disable", [this](const auto&, const Words& words) { return requestLog(kActionDisable, words); },
        "[npa|f3] disable power log collection from baseband");
    registerCommand(
        "dump", [this](const auto&, const Words& words) { return requestLog(kActionDumpLog, words); },
        "[npa|f3] dump power log from baseband");
    registerCommand(
        "simulate", [this](const auto&, const Words& words) { return simulate(words); }, "[0x...] simulate AP power events");
}

bool PowerCommand::requestLog(CFStringRef action, const Words& words) const {
    const std::string log = logNamedBy(words);
    if (log.empty()) {
        output::printError({"Invalid power log option. Pass [npa|f3]"});
        return false;
    }
    const std::string actionText = textOf(action);
    const Answer answer =
        perform(textOf(kCommandLogCollection),
                payload::dictionary({
                    {CFStringGetCStringPtr(kKeyLogCollectionAction, kCFStringEncodingUTF8), payload::string(actionText)},
                    {ryn::kKeyTracePropertyName, payload::string(log)},
                }));
    output::printLine({"Sent command to ", actionText, " ", log});
    return answer.succeeded();
}

bool PowerCommand::simulate(const Words& words) const {
    if (words.empty()) {
        output::printLine({"Invalid power command usage"});
        return false;
    }
    const auto notification = static_cast<std::uint32_t>(std::strtoll(words.front().c_str(), nullptr, 16));
    const Answer answer = perform(ryn::kCommandSimulatePowerNotification,
                                  payload::dictionary({{ryn::kKeyPowerNotificationMessage, payload::integer(notification)}}));
    // It stays so for whatever is printed later.
    output::useHexadecimal();
    const std::string shown = "Simulated power notification 0x" + output::number(notification);
    if (answer.succeeded()) {
        output::printLine({shown, " accepted"});
        return true;
    }
    // The line on standard output stays without its end.
    output::print({shown});
    output::printError({" rejected"});
    return false;
}
