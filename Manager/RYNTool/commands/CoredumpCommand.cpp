#include "commands/CoredumpCommand.h"

#include "commands/PropertyLeaf.h"
#include "commands/TraceProperty.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

namespace {

constexpr PropertyLeaf kEnabled = {
    "enabled", "Enabled", "Enabled", "", " status", "[true|false] enable or disable baseband coredump",
};

}  // namespace

void CoredumpCommand::registerCommands() {
    registerCommand(
        kEnabled.word,
        [this](const auto&, const Words& words) { return runPropertyLeaf(kEnabled, manager(), ryn::kTraceCoreDump, words); },
        kEnabled.helpText);
    registerCommand(
        "status", [this](const auto&, const Words&) { return status(); }, "status of baseband coredump");
}

bool CoredumpCommand::status() const {
    std::string enabled;
    if (getTraceProperty(manager(), ryn::kTraceCoreDump, kEnabled.property, enabled, 0) != 0) {
        output::printLine({"Failed to get status of baseband coredump"});
        return false;
    }
    output::printLine({"Enabled: ", enabled});
    return true;
}
