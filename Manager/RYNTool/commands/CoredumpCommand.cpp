#include "commands/Groups.h"
#include "platform/ryn/constants.h"

namespace {

constexpr TraceProperty kProperties[] = {
    {"enabled", "Enabled", "Enabled", "", " status", "[true|false] enable or disable baseband coredump"},
};

constexpr TraceStatus::Line kStatusLines[] = {{"Enabled", "Enabled: ", "", 0}};
// Unlike those of "enabled", its failure goes to standard output.
constexpr TraceStatus kStatus = {"status of baseband coredump", "baseband coredump", output::Stream::Output, 1, kStatusLines};

/// "coredump": whether core dumps of the baseband are collected.
class CoredumpCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

private:
    void registerCommands() override {
        registerProperties<ryn::kTraceCoreDump>(kProperties);
        registerStatus<ryn::kTraceCoreDump>(kStatus);
    }
};

}  // namespace

NodeFactory* const createCoredumpCommand = create<CoredumpCommand>;
