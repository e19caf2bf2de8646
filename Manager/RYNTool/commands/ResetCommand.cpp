#include "commands/ResetCommand.h"

#include "commands/Payload.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

void ResetCommand::registerCommands() {
    registerCommand(
        "soft", [this](const auto&, const Words& words) { return reset(ryn::kBasebandResetTypeSoft, words); },
        "soft reset of baseband");
    registerCommand(
        "hard", [this](const auto&, const Words& words) { return reset(ryn::kBasebandResetTypeHard, words); },
        "hard reset of baseband");
    registerCommand(
        "unblock", [this](const auto&, const Words&) { return unblock(); },
        "unblock reset, if it was set using preferences (dev use only)");
}

bool ResetCommand::reset(const char* type, const Words& words) {
    if (words.size() > 1) {
        printHelp();
        return false;
    }
    const std::string reason = "[ryntool] " + (words.empty() ? "User triggered" : words.front());
    return resetBaseband(type, reason) == 0;
}

int ResetCommand::resetBaseband(const std::string& type, const std::string& reason) const {
    const Answer answer = perform(ryn::kCommandResetBaseband,
                                  payload::dictionary({
                                      {ryn::kKeyBasebandResetType, payload::string(type)},
                                      {ryn::kKeyBasebandResetSubType, payload::string(ryn::kBasebandResetSubTypeUserTriggered)},
                                      {ryn::kKeyBasebandResetReason, payload::string(reason)},
                                  }));
    output::printLine({type, " baseband: ", verdict(answer.result)});
    if (!answer.succeeded()) {
        printErrorDetail(answer.reply);
    }
    return answer.result;
}

bool ResetCommand::unblock() const {
    const Answer answer = perform(ryn::kCommandUnblockBasebandReset);
    output::printLine({"Reset unblock: ", verdict(answer.result)});
    return answer.succeeded();
}
