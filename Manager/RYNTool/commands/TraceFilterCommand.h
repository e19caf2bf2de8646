#pragma once

#include "commands/RYNCommandBase.h"

/// "trace filter": the manager's free-space and max-log filters of trace logs.
class TraceFilterCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    bool add(const Words& words);
    bool remove(const Words& words);
    bool status() const;
};
