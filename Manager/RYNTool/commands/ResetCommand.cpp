#include "commands/Groups.h"

namespace {

/// "baseband reset": resets the baseband with a reason, and lifts a reset block.
struct ResetCommand : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override {
        registerLeaf<&ResetCommand::soft>("soft", "soft reset of baseband");
        registerLeaf<&ResetCommand::hard>("hard", "hard reset of baseband");
        registerLeaf<&ResetCommand::unblock>("unblock", "unblock reset, if it was set using preferences (dev use only)");
    }

    bool soft(const Group&, const Words& words) { return reset(ryn::kBasebandResetTypeSoft, words); }
    bool hard(const Group&, const Words& words) { return reset(ryn::kBasebandResetTypeHard, words); }

    bool reset(const char* type, const Words& words) {
        if (words.size() > 1) {
            return failWithHelp();
        }
        const Answer answer = requestReset(type, words.empty() ? "User triggered" : words.front());
        output::printLine({type, " baseband: ", verdict(answer.result)});
        if (!answer.succeeded()) {
            printErrorDetail(answer.reply);
        }
        return answer.succeeded();
    }

    bool unblock(const Group&, const Words&) {
        const Answer answer = perform(ryn::kCommandUnblockBasebandReset);
        output::printLine({"Reset unblock: ", verdict(answer.result)});
        return answer.succeeded();
    }
};

}  // namespace

NodeFactory* const createResetCommand = create<ResetCommand>;
