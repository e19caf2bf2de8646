#pragma once

#include "commands/Groups.h"

/// A group of one trace's settings: a leaf for each property of the table, and "status".
template <const char* const& trace, const auto& properties, const TraceStatus& status>
struct TraceGroup : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override {
        registerProperties<trace>(properties);
        registerCommand("status", status.helpText,
                        [this](const Group&, const Words&) { return showTraceStatus(manager(), trace, status); });
    }
};
