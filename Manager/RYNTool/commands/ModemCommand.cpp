#include "commands/Groups.h"

#include <cstdlib>

namespace {

/// The low 32 bits of the number that the word begins with.
xpc::Object smallNumber(const std::string& word) {
    return xpc::number(static_cast<std::int32_t>(numberOf(word)));
}

/// "baseband": boot state, operating mode, clock and last wake reason of the baseband.
struct ModemCommand : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override {
        registerLeaf<&ModemCommand::state>("state", "boot state of baseband");
        registerLeaf<&ModemCommand::time>("time", "current baseband time");
        registerLeaf<&ModemCommand::wake>("wake", "last wake reason");
        registerChildren();
    }

    bool state(const Group& group, const Words& words) {
        if (words.empty()) {
            return queryState();
        }
        words.front() == "watch" ? watchState(group) : setOperatingMode(group, words);
        return true;
    }

    bool queryState() const {
        const Answer boot = perform(ryn::kCommandGetBasebandBootState);
        output::printLine({"Boot state: ", boot.text(ryn::kKeyBasebandBootState)});
        const Answer mode = perform(ryn::kCommandGetBasebandOperatingMode);
        output::printLine({"Operating mode: ", mode.isReadable() ? output::number(modeIn(mode.reply)) : ryn::kUnknown});
        return boot.succeeded() && mode.succeeded();
    }

    /// -1 when there is none.
    static std::int32_t modeIn(const xpc::Object& payload) { return readInteger(payload, ryn::kKeyBasebandOperatingMode, -1); }

    /// Prints every change until the process ends: the client keeps both handlers, and with them the group entered.
    void watchState(const Group& group) const {
        const dispatch::EnteredGroup entered(group);
        ryn::client::RegisterEventHandler(manager(), ryn::kEventBasebandOperatingModeChange,
                                          [entered](const xpc::Object& payload) {
                                              if (const auto mode = modeIn(payload); mode >= 0) {
                                                  printChange({"Operating mode: ", output::number(mode)});
                                              }
                                          });
        ryn::client::RegisterEventHandler(manager(), ryn::kEventBasebandBootStateChange, [entered](const xpc::Object& payload) {
            printChange({"Boot state: ", readString(payload, ryn::kKeyBasebandBootState)});
        });
        // Events are on already, for the self-test. Off and on again makes the manager begin anew for this watch.
        ryn::client::EventsOff(manager());
        ryn::client::EventsOn(manager());
    }

    static void printChange(output::Parts parts) {
        output::printLine(parts);
        if (output::isLost()) {
            std::_Exit(EXIT_FAILURE);  // nothing else ends a watch
        }
    }

    /// Prints the outcome when it has come.
    void setOperatingMode(const Group& group, const Words& words) const {
        const auto argument = xpc::dictionary({{ryn::kKeyBasebandOperatingMode, smallNumber(words.front())}});
        if (words.size() > 1) {
            xpc::set(argument, ryn::kKeyTimeout, smallNumber(words[1]));
        }
        ryn::client::PerformCommand(
            manager(), ryn::kCommandSetBasebandOperatingMode,
            [entered = dispatch::EnteredGroup(group)](int result, const xpc::Object&) { output::printLine({verdict(result)}); },
            argument);
    }

    bool time(const Group&, const Words&) {
        const Answer answer = perform(ryn::kCommandGetBasebandTime);
        output::printLine({"Baseband time: ", answer.text(ryn::kKeyBasebandTimeAsString)});
        return answer.succeeded();
    }

    bool wake(const Group&, const Words&) {
        const Answer answer = perform(ryn::kCommandGetBasebandWakeReason);
        if (!answer.isReadable()) {
            output::printError({"Failed to get wake reason"});
        } else if (readInteger(answer.reply, ryn::kKeyBasebandWakeChannel, 0) == 0) {
            output::printLine({"Baseband did not wake the AP"});
        } else {
            output::printLine({"Baseband woke the AP due to:\n", xpc::to_string(answer.reply)});
        }
        return answer.succeeded();
    }
};

}  // namespace

NodeFactory* const createModemCommand = create<ModemCommand>;
