#include "commands/TraceGroup.h"
#include "config/DiagConfig.h"

namespace {

namespace config = diag::config;
using output::Stream;

constexpr TraceProperty kProperties[] = {
    // word, name, label, unit, get suffix, help text
    {"enabled", config::kEnabledKey, "Enabled", "", " status", "[true|false] enable or disable diag trace"},
    {"history", config::kHistoryKey, "History", " MB", " status", "history (MB) of diag trace to capture"},
    {"primary-dmc", config::kPrimaryDMCFileKey, "Primary-dmc", "", "", "primary-dmc used by diag trace", Stream::Error,
     TraceProperty::Access::ReadOnly},
    {"secondary-dmc", config::kSecondaryDMCFileKey, "Secondary-dmc", "", "", "secondary-dmc used by diag trace"},
    {"extra-dmc", config::kExtraDMCFileKey, "Extra-dmc", "", "", "extra-dmc used by diag trace"},
    {"sleep-dmc", config::kSleepDMCFileKey, "Sleep-dmc", "", "", "sleep-dmc used by diag trace"},
    {"enabled-on-sleep", config::kEnabledDuringSleepKey, "Enabled-on-sleep", "", "", "[off|full|lite] run diag during AP sleep"},
    {"mode", config::kModeKey, "Mode", "", "", "diag mode to use"},
};

constexpr TraceStatus::Line kStatusLines[] = {
    // property, label, unit, place: the last two are printed the other way round
    {config::kEnabledKey, "Enabled: ", "", 0},
    {config::kHistoryKey, "History: ", " MB", 1},
    {config::kPrimaryDMCFileKey, "Primary-dmc: ", "", 2},
    {config::kSecondaryDMCFileKey, "Secondary-dmc: ", "", 3},
    {config::kExtraDMCFileKey, "Extra-dmc: ", "", 4},
    {config::kSleepDMCFileKey, "Sleep-dmc: ", "", 6},
    {config::kEnabledDuringSleepKey, "Enable-on-sleep: ", "", 5},
};
constexpr TraceStatus kStatus = {"status of diag trace", "DIAG trace", Stream::Error, 1, kStatusLines};

/// "diag": settings of the DIAG trace, the log of the baseband's diagnostic messages.
using DIAGCommand = TraceGroup<ryn::kTraceDiag, kProperties, kStatus>;

}  // namespace

NodeFactory* const createDIAGCommand = create<DIAGCommand>;
