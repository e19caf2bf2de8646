#include "commands/Groups.h"

#include <algorithm>
#include <cctype>

namespace {

std::string upperCased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return text;
}

/// "tems": the TEMS mode, hardware or off.
struct TEMSCommand : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override { registerLeaf<&TEMSCommand::mode>("mode", "[hw|off] TEMS mode"); }

    /// Too many words are refused without a message.
    bool mode(const Group&, const Words& words) {
        if (words.size() > 1) {
            return false;
        }
        return words.empty() ? getMode() : setMode(upperCased(words.front()));
    }

    bool getMode() const {
        const Answer answer = perform(ryn::kCommandGetTEMSProperty);
        return answer.succeeded() ? succeed({"Mode: ", answer.text(ryn::kKeyTEMSMode)}) : fail({"Failed to get 'Mode'"});
    }

    bool setMode(const std::string& mode) {
        if (mode != "HW" && mode != "OFF") {
            output::printError({"Invalid value(s) passed for 'Mode'"});
            return failWithHelp();
        }
        const Answer answer = perform(ryn::kCommandSetTEMSProperty, xpc::dictionary({{ryn::kKeyTEMSMode, xpc::text(mode)}}));
        return answer.succeeded() ? succeed({"Mode: ", mode}) : fail({"Failed to set 'Mode' to '", mode, "'"});
    }
};

}  // namespace

NodeFactory* const createTEMSCommand = create<TEMSCommand>;
