#pragma once

#include "commands/RYNCommandBase.h"

/// "stats": reads the manager's statistics and reports boot figures into them. Failures go to standard output too.
class StatsCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    bool getStatistics(const Words& words) const;
    bool reportBootModule(const Words& words) const;
};
