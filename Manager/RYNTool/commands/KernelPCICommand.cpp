#include "commands/KernelPCICommand.h"

#include "commands/PropertyLeaf.h"
#include "commands/TraceProperty.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

namespace {

constexpr PropertyLeaf kLeaves[] = {
    // word, property, label, unit, get suffix, help text, failures on
    {"enabled", "Enabled", "Enabled", "", " status", "[true|false] enable or disable kernelpci trace", output::Stream::Error},
    {"history", "History", "History", " MB", "", "history (MB) of kernelpci trace to capture", output::Stream::Output},
    {"buffercount", "BufferCount", "Buffer-count", "", "", "number of buffers to use for kernelpci trace",
     output::Stream::Output},
};

}  // namespace

void KernelPCICommand::registerCommands() {
    for (const PropertyLeaf& leaf : kLeaves) {
        registerCommand(
            leaf.word,
            [this, &leaf](const auto&, const Words& words) {
                return runPropertyLeaf(leaf, manager(), ryn::kTraceKernelPCI, words);
            },
            leaf.helpText);
    }
    registerCommand(
        "status", [this](const auto&, const Words&) { return status(); }, "status of kernelpci trace");
}

bool KernelPCICommand::status() const {
    std::string enabled;
    std::string history;
    const int enabledResult = getTraceProperty(manager(), ryn::kTraceKernelPCI, "Enabled", enabled, 0);
    const int historyResult = getTraceProperty(manager(), ryn::kTraceKernelPCI, "History", history, 0);
    if (enabledResult != 0 || historyResult != 0) {
        output::printLine({"Failed to get status of kernelpci trace"});
        return false;
    }
    output::printLine({"Enabled: ", enabled});
    output::printLine({"History: ", history, " MB"});
    return true;
}
