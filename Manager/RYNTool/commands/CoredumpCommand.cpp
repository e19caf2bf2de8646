#include "commands/Groups.h"
#include "platform/ryn/constants.h"

namespace {

constexpr TraceProperty kProperties[] = {
    {"enabled", "Enabled", "Enabled", "", " status", "[true|false] enable or disable baseband coredump"},
};

constexpr TraceStatus::Line kStatusLines[] = {{"Enabled", "Enabled: ", "", 0}};
// Unlike those of "enabled", its failure goes to standard output.
constexpr TraceStatus kStatus = {"baseband coredump", output::Stream::Output, 1, kStatusLines};

/// "coredump": whether core dumps of the baseband are collected.
class CoredumpCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

private:
    void registerCommands() override {
        static constexpr Leaf<CoredumpCommand> kLeaves[] = {
            {"status", &CoredumpCommand::status, "status of baseband coredump"},
        };
        registerProperties<ryn::kTraceCoreDump>(kProperties);
        registerLeaves<CoredumpCommand>(kLeaves);
    }

    bool status(const Group&, const Words&) { return showTraceStatus(manager(), ryn::kTraceCoreDump, kStatus); }
};

}  // namespace

NodeFactory* const createCoredumpCommand = create<CoredumpCommand>;
