#include "commands/TraceCommand.h"

#include "commands/PropertyLeaf.h"
#include "commands/TraceFilterCommand.h"
#include "commands/TraceProperty.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

namespace {

constexpr PropertyLeaf kKeepScratch = {
    "keepscratch", "KeepScratchLogs", "KeepScratchLogs", "", "", "[true|false] keep or discard scratch logs",
};

}  // namespace

void TraceCommand::registerCommands() {
    registerCommand(
        "dump", [this](const dispatch::group& group, const Words& words) { return dump(group, words); },
        "[<reason-string>] dump trace logs");
    registerCommand(
        kKeepScratch.word,
        [this](const auto&, const Words& words) { return runPropertyLeaf(kKeepScratch, manager(), ryn::kTraceRYN, words); },
        kKeepScratch.helpText);
    registerCommand(
        "set", [this](const auto&, const Words& words) { return set(words); }, "<trace> <property> <value> set trace property");
    registerCommand(
        "get", [this](const auto&, const Words& words) { return get(words); }, "<trace> <property> get trace property");
    registerChild<TraceFilterCommand>("filter");
}

bool TraceCommand::dump(const dispatch::group& group, const Words& words) {
    if (words.size() > 1) {
        printHelp();
        return false;
    }
    const std::string reason = "[ryntool] " + (words.empty() ? "User triggered" : words.front());
    ryn::client::CollectTraceLogs(manager(), reason, [entered = dispatch::EnteredGroup(group)](int result, const xpc::Object&) {
        output::printLine({"Dump: ", verdict(result)});
    });
    return true;
}

bool TraceCommand::set(const Words& words) {
    if (words.size() < 3) {
        printHelp();
        return false;
    }
    const std::string& trace = words[0];
    const std::string& property = words[1];
    const std::string& value = words[2];
    if (setTraceProperty(manager(), trace, property, value, 0) != 0) {
        output::printLine({"Setting ", trace, " ", property, " = ", value, " failed"});
        return false;
    }
    output::printLine({trace, ": ", property, " = ", value});
    return true;
}

bool TraceCommand::get(const Words& words) {
    if (words.size() < 2) {
        printHelp();
        return false;
    }
    const std::string& trace = words[0];
    const std::string& property = words[1];
    std::string value = ryn::kUnknown;
    if (getTraceProperty(manager(), trace, property, value, 0) != 0) {
        output::printLine({"Getting ", trace, " ", property, " failed"});
        return false;
    }
    output::printLine({trace, ": ", property, " = ", value});
    return true;
}
