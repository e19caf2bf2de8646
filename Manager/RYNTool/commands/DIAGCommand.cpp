#include "commands/DIAGCommand.h"

#include "commands/PropertyLeaf.h"
#include "commands/TraceProperty.h"
#include "config/DiagConfig.h"
#include "platform/ryn/constants.h"
#include "shell/Output.h"

#include <array>
#include <cstddef>

namespace {

namespace config = diag::config;

constexpr PropertyLeaf kLeaves[] = {
    // word, property, label, unit, get suffix, help text
    {"enabled", config::kEnabledKey, "Enabled", "", " status", "[true|false] enable or disable diag trace"},
    {"history", config::kHistoryKey, "History", " MB", " status", "history (MB) of diag trace to capture"},
    {"primary-dmc", config::kPrimaryDMCFileKey, "Primary-dmc", "", "", "primary-dmc used by diag trace", output::Stream::Error,
     Access::ReadOnly},
    {"secondary-dmc", config::kSecondaryDMCFileKey, "Secondary-dmc", "", "", "secondary-dmc used by diag trace"},
    {"extra-dmc", config::kExtraDMCFileKey, "Extra-dmc", "", "", "extra-dmc used by diag trace"},
    {"sleep-dmc", config::kSleepDMCFileKey, "Sleep-dmc", "", "", "sleep-dmc used by diag trace"},
    {"enabled-on-sleep", config::kEnabledDuringSleepKey, "Enabled-on-sleep", "", "", "[off|full|lite] run diag during AP sleep"},
    {"mode", config::kModeKey, "Mode", "", "", "diag mode to use"},
};

struct StatusLine {
    const char* property;
    const char* label;
    const char* unit;
};

/// In the order of asking.
constexpr std::array<StatusLine, 7> kStatusLines = {{
    {config::kEnabledKey, "Enabled: ", ""},
    {config::kHistoryKey, "History: ", " MB"},
    {config::kPrimaryDMCFileKey, "Primary-dmc: ", ""},
    {config::kSecondaryDMCFileKey, "Secondary-dmc: ", ""},
    {config::kExtraDMCFileKey, "Extra-dmc: ", ""},
    {config::kSleepDMCFileKey, "Sleep-dmc: ", ""},
    {config::kEnabledDuringSleepKey, "Enable-on-sleep: ", ""},
}};
constexpr std::array<std::size_t, 7> kOrderOfPrinting = {0, 1, 2, 3, 4, 6, 5};

}  // namespace

void DIAGCommand::registerCommands() {
    for (const PropertyLeaf& leaf : kLeaves) {
        registerCommand(
            leaf.word,
            [this, &leaf](const auto&, const Words& words) { return runPropertyLeaf(leaf, manager(), ryn::kTraceDiag, words); },
            leaf.helpText);
    }
    registerCommand(
        "status", [this](const auto&, const Words&) { return status(); }, "status of diag trace");
}

bool DIAGCommand::status() const {
    std::array<std::string, kStatusLines.size()> values;
    bool ok = true;
    for (std::size_t index = 0; index < kStatusLines.size(); ++index) {
        const int result = getTraceProperty(manager(), ryn::kTraceDiag, kStatusLines[index].property, values[index], 0);
        // The first decides; what else can't be read shows as empty.
        ok = ok && (index > 0 || result == 0);
    }
    if (!ok) {
        output::printError({"Failed to get status of DIAG trace"});
        return false;
    }
    for (const std::size_t index : kOrderOfPrinting) {
        output::printLine({kStatusLines[index].label, values[index], kStatusLines[index].unit});
    }
    return true;
}
