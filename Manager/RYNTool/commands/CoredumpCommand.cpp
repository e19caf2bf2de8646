#include "commands/TraceGroup.h"

namespace {

constexpr TraceProperty kProperties[] = {
    {"enabled", "Enabled", "Enabled", "", " status", "[true|false] enable or disable baseband coredump"},
};

constexpr TraceStatus::Line kStatusLines[] = {{"Enabled", "Enabled: ", "", 0}};
// Unlike those of "enabled", its failure goes to standard output.
constexpr TraceStatus kStatus = {"status of baseband coredump", "baseband coredump", output::Stream::Output, 1, kStatusLines};

/// "coredump": whether core dumps of the baseband are collected.
using CoredumpCommand = TraceGroup<ryn::kTraceCoreDump, kProperties, kStatus>;

}  // namespace

NodeFactory* const createCoredumpCommand = create<CoredumpCommand>;
