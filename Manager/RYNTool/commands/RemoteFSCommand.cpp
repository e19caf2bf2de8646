#include "commands/RemoteFSCommand.h"

#include "commands/Payload.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

void RemoteFSCommand::registerCommands() {
    registerCommand(
        "sync", [this](const auto&, const Words& words) { return sync(words); }, "[nowait] sync remote filesystem with baseband");
    registerCommand(
        "erase", [this](const auto&, const Words&) { return erase(); },
        "erase remote filesystem and soft-reset baseband (take caution)");
}

bool RemoteFSCommand::sync(const Words& words) const {
    const bool wait = words != Words{"nowait"};
    const Answer answer =
        perform(ryn::kCommandBasebandSyncFS, payload::dictionary({{ryn::kKeyFSSyncWaitForCompletion, payload::flag(wait)}}));
    output::printError({"Sync remote filesystem: Failed"});
    printErrorDetail(answer.reply);
    return false;
}

bool RemoteFSCommand::erase() const {
    const Answer erased =
        perform(ryn::kCommandBasebandNVData,
                payload::dictionary({{ryn::kKeyBasebandNVDataAction, payload::string(ryn::kBasebandNVDataErase)}}));
    if (erased.succeeded()) {
        output::printLine({"Erase remote filessytem: Success"});
    } else {
        output::printError({"Erase remote filesystem: Failed"});
        printErrorDetail(erased.reply);
    }

    // The baseband is reset whether or not its data was erased.
    output::printLine({"Triggering baseband soft-reset ..."});
    const Answer reset =
        perform(ryn::kCommandResetBaseband,
                payload::dictionary({
                    {ryn::kKeyBasebandResetType, payload::string(ryn::kBasebandResetTypeSoft)},
                    {ryn::kKeyBasebandResetSubType, payload::string(ryn::kBasebandResetSubTypeUserTriggered)},
                    {ryn::kKeyBasebandResetReason, payload::string("[ryntool] Remote filesystem erased by user")},
                }));
    if (reset.succeeded()) {
        output::printLine({"Baseband soft-reset: Success"});
    } else {
        output::printError({"Baseband soft-reset: Failed"});
        printErrorDetail(reset.reply);
    }
    return !erased.carriedObject && !reset.carriedObject;
}
