#pragma once

#include "commands/Groups.h"
#include "platform/ryn/constants.h"

/// A group of one trace's settings: a leaf for each property of the table, and "status".
template <const char* const& trace, const auto& properties, const TraceStatus& status>
class TraceGroup : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

private:
    void registerCommands() override {
        registerProperties<trace>(properties);
        registerCommand("status", status.helpText,
                        [this](const Group&, const Words&) { return showTraceStatus(manager(), trace, status); });
    }
};
