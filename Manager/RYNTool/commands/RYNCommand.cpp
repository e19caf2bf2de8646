#include "commands/Groups.h"

namespace {

constexpr const char* kToolVersion = "Corvane-699";

/// The root: the versions, and every group of commands.
struct RYNCommand : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override {
        registerLeaf<&RYNCommand::info>("info", "version of tool, daemon and baseband");
        registerChildren();
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
