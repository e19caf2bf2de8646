#include "commands/RYNCommand.h"

#include "commands/CoredumpCommand.h"
#include "commands/DIAGCommand.h"
#include "commands/KernelPCICommand.h"
#include "commands/ModemCommand.h"
#include "commands/Payload.h"
#include "commands/PowerCommand.h"
#include "commands/RemoteFSCommand.h"
#include "commands/StatsCommand.h"
#include "commands/TEMSCommand.h"
#include "commands/TraceCommand.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

namespace {

const char* toolVersion() {
    return "Corvane-699";
}

}  // namespace

void RYNCommand::registerCommands() {
    registerCommand(
        "info", [this](const auto&, const Words&) { return info(); }, "version of tool, daemon and baseband");
    registerChild<ModemCommand>("baseband");
    registerChild<CoredumpCommand>("coredump");
    registerChild<DIAGCommand>("diag");
    registerChild<KernelPCICommand>("kernelpci");
    registerChild<PowerCommand>("power");
    registerChild<TEMSCommand>("tems");
    registerChild<RemoteFSCommand>("rfs");
    registerChild<TraceCommand>("trace");
    registerChild<StatsCommand>("stats");
}

bool RYNCommand::info() const {
    output::printLine({"Tool version: ", toolVersion()});
    const Answer answer = perform(ryn::kCommandGetCorvaneInfo);
    if (!answer.succeeded()) {
        output::printError({"Query to get Daemon and Baseband version failed."});
        output::printError({"Error data : ", xpc::to_string(answer.reply)});
        return false;
    }
    output::printLine({"Daemon version: ", payload::readString(answer.reply, ryn::kKeyCorvaneVersion)});
    output::printLine({"Baseband version: ", payload::readString(answer.reply, ryn::kKeyBasebandVersion)});
    return true;
}
