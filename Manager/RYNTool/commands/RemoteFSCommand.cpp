#include "commands/Groups.h"

namespace {

/// "rfs": the remote filesystem, which holds the baseband's non-volatile data.
struct RemoteFSCommand : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override {
        registerLeaf<&RemoteFSCommand::sync>("sync", "[nowait] sync remote filesystem with baseband");
        registerLeaf<&RemoteFSCommand::erase>("erase", "erase remote filesystem and soft-reset baseband (take caution)");
    }

    /// Prints "Failed" and fails whatever the manager answered: no answer tells that the baseband's data is safe.
    bool sync(const Group&, const Words& words) {
        const auto wait = xpc::boolean(words != Words{"nowait"});
        const Answer answer = perform(ryn::kCommandBasebandSyncFS, xpc::dictionary({{ryn::kKeyFSSyncWaitForCompletion, wait}}));
        output::printError({"Sync remote filesystem: Failed"});
        printErrorDetail(answer.reply);
        return false;
    }

    /// True only when neither the erase nor the reset was answered with a reply object.
    bool erase(const Group&, const Words&) {
        const Answer erased = perform(ryn::kCommandBasebandNVData,
                                      xpc::dictionary({{ryn::kKeyBasebandNVDataAction, xpc::text(ryn::kBasebandNVDataErase)}}));
        // The texts of success and failure spell the filesystem differently, and scripts match both.
        printOutcome(erased, "Erase remote filessytem: Success", "Erase remote filesystem: Failed");

        // The baseband is reset whether or not its data was erased.
        output::printLine({"Triggering baseband soft-reset ..."});
        const Answer reset = requestReset(ryn::kBasebandResetTypeSoft, "Remote filesystem erased by user");
        printOutcome(reset, "Baseband soft-reset: Success", "Baseband soft-reset: Failed");
        return !erased.carriedObject && !reset.carriedObject;
    }

    static void printOutcome(const Answer& answer, const char* success, const char* failure) {
        if (answer.succeeded()) {
            output::printLine({success});
        } else {
            output::printError({failure});
            printErrorDetail(answer.reply);
        }
    }
};

}  // namespace

NodeFactory* const createRemoteFSCommand = create<RemoteFSCommand>;
