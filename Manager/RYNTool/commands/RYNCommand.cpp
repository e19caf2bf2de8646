#include "commands/Groups.h"
#include "platform/ryn/constants.h"

namespace {

constexpr const char* kToolVersion = "Corvane-699";

/// The root: the versions, and every group of commands.
class RYNCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

private:
    void registerCommands() override {
        static constexpr Leaf<RYNCommand> kLeaves[] = {{"info", &RYNCommand::info, "version of tool, daemon and baseband"}};
        registerLeaves<RYNCommand>(kLeaves);
        registerChild("baseband", createModemCommand);
        registerChild("coredump", createCoredumpCommand);
        registerChild("diag", createDIAGCommand);
        registerChild("kernelpci", createKernelPCICommand);
        registerChild("power", createPowerCommand);
        registerChild("tems", createTEMSCommand);
        registerChild("rfs", createRemoteFSCommand);
        registerChild("trace", createTraceCommand);
        registerChild("stats", createStatsCommand);
    }

    bool info(const Group&, const Words&) {
        output::printLine({"Tool version: ", kToolVersion});
        const Answer answer = perform(ryn::kCommandGetCorvaneInfo);
        if (!answer.succeeded()) {
            output::printError({"Query to get Daemon and Baseband version failed."});
            return fail({"Error data : ", xpc::to_string(answer.reply)});
        }
        output::printLine({"Daemon version: ", answer.text(ryn::kKeyCorvaneVersion)});
        return succeed({"Baseband version: ", answer.text(ryn::kKeyBasebandVersion)});
    }
};

}  // namespace

NodeFactory* const createRYNCommand = create<RYNCommand>;
