#include "commands/TEMSCommand.h"

#include "commands/Payload.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

#include <algorithm>
#include <cctype>

namespace {

std::string upperCased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return text;
}

}  // namespace

void TEMSCommand::registerCommands() {
    registerCommand(
        "mode", [this](const auto&, const Words& words) { return mode(words); }, "[hw|off] TEMS mode");
}

bool TEMSCommand::mode(const Words& words) {
    if (words.size() > 1) {
        return false;
    }
    if (words.empty()) {
        return getMode();
    }
    const std::string value = upperCased(words.front());
    if (value != "HW" && value != "OFF") {
        output::printError({"Invalid value(s) passed for 'Mode'"});
        printHelp();
        return false;
    }
    return setMode(value);
}

bool TEMSCommand::getMode() const {
    const Answer answer = perform(ryn::kCommandGetTEMSProperty);
    if (!answer.succeeded()) {
        output::printError({"Failed to get 'Mode'"});
        return false;
    }
    output::printLine({"Mode: ", payload::readString(answer.reply, ryn::kKeyTEMSMode)});
    return true;
}

bool TEMSCommand::setMode(const std::string& mode) const {
    const Answer answer =
        perform(ryn::kCommandSetTEMSProperty, payload::dictionary({{ryn::kKeyTEMSMode, payload::string(mode)}}));
    if (!answer.succeeded()) {
        output::printError({"Failed to set 'Mode' to '", mode, "'"});
        return false;
    }
    output::printLine({"Mode: ", mode});
    return true;
}
