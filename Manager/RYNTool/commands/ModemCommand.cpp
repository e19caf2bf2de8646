#include "commands/ModemCommand.h"

#include "commands/DiagnosticsCommand.h"
#include "commands/Payload.h"
#include "commands/ResetCommand.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

#include <cstdlib>

namespace {

/// The low 32 bits of the number that the word begins with, whatever the size of a `long`.
std::int32_t numberOf(const std::string& word) {
    return static_cast<std::int32_t>(std::strtoll(word.c_str(), nullptr, 10));
}

}  // namespace

void ModemCommand::registerCommands() {
    registerCommand(
        "state", [this](const dispatch::group& group, const Words& words) { return state(group, words); },
        "boot state of baseband");
    registerCommand(
        "time", [this](const auto&, const Words&) { return time(); }, "current baseband time");
    registerCommand(
        "wake", [this](const auto&, const Words&) { return wake(); }, "last wake reason");
    registerChild<ResetCommand>("reset");
    registerChild<DiagnosticsCommand>("diagnostics");
}

bool ModemCommand::state(const dispatch::group& group, const Words& words) const {
    if (words.empty()) {
        return queryState();
    }
    return words.front() == "watch" ? watchState(group) : setOperatingMode(group, words);
}

bool ModemCommand::queryState() const {
    const Answer bootState = perform(ryn::kCommandGetBasebandBootState);
    output::printLine({"Boot state: ", bootState.isReadable() ? payload::readString(bootState.reply, ryn::kKeyBasebandBootState)
                                                              : ryn::kUnknown});

    const Answer mode = perform(ryn::kCommandGetBasebandOperatingMode);
    const std::string modeText =
        mode.isReadable() ? output::number(payload::readInteger(mode.reply, ryn::kKeyBasebandOperatingMode, -1)) : ryn::kUnknown;
    output::printLine({"Operating mode: ", modeText});
    return bootState.succeeded() && mode.succeeded();
}

bool ModemCommand::watchState(const dispatch::group& group) const {
    const dispatch::EnteredGroup entered(group);
    const auto show = [](const char* label, const std::string& value) {
        output::printLine({label, value});
        if (output::isLost()) {
            std::_Exit(EXIT_FAILURE);  // nothing else ends a watch
        }
    };
    ryn::client::RegisterEventHandler(manager(), ryn::kEventBasebandOperatingModeChange,
                                      [entered, show](const xpc::Object& payload) {
                                          const auto mode = payload::readInteger(payload, ryn::kKeyBasebandOperatingMode, -1);
                                          if (mode >= 0) {
                                              show("Operating mode: ", output::number(mode));
                                          }
                                      });
    ryn::client::RegisterEventHandler(manager(), ryn::kEventBasebandBootStateChange, [entered, show](const xpc::Object& payload) {
        show("Boot state: ", payload::readString(payload, ryn::kKeyBasebandBootState));
    });
    ryn::client::EventsOff(manager());
    ryn::client::EventsOn(manager());
    return true;
}

bool ModemCommand::setOperatingMode(const dispatch::group& group, const Words& words) const {
    const dispatch::EnteredGroup entered(group);
    const auto argument = payload::dictionary({{ryn::kKeyBasebandOperatingMode, payload::integer(numberOf(words.front()))}});
    if (words.size() > 1) {
        payload::set(argument, ryn::kKeyTimeout, payload::integer(numberOf(words[1])));
    }
    ryn::client::PerformCommand(
        manager(), ryn::kCommandSetBasebandOperatingMode,
        [entered](int result, const xpc::Object&) { output::printLine({verdict(result)}); }, argument);
    return true;
}

bool ModemCommand::time() const {
    const Answer answer = perform(ryn::kCommandGetBasebandTime);
    output::printLine({"Baseband time: ",
                       answer.isReadable() ? payload::readString(answer.reply, ryn::kKeyBasebandTimeAsString) : ryn::kUnknown});
    return answer.succeeded();
}

bool ModemCommand::wake() const {
    const Answer answer = perform(ryn::kCommandGetBasebandWakeReason);
    if (!answer.isReadable()) {
        output::printError({"Failed to get wake reason"});
    } else if (payload::readInteger(answer.reply, ryn::kKeyBasebandWakeChannel, 0) == 0) {
        output::printLine({"Baseband did not wake the AP"});
    } else {
        output::printLine({"Baseband woke the AP due to:\n", xpc::to_string(answer.reply)});
    }
    return answer.succeeded();
}
