#pragma once

#include "commands/RYNCommandBase.h"

/// "trace": collects trace logs and reads or writes any property of any trace.
class TraceCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    /// Tells the outcome when it has come; returns true.
    bool dump(const dispatch::group& group, const Words& words);
    bool set(const Words& words);
    bool get(const Words& words);
};
