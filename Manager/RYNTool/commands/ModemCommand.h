#pragma once

#include "commands/RYNCommandBase.h"

/// "baseband": boot state, operating mode, clock and last wake reason of the baseband.
class ModemCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    bool state(const dispatch::group& group, const Words& words) const;
    bool queryState() const;
    /// Never done: the watch ends with the process.
    bool watchState(const dispatch::group& group) const;
    /// Tells the outcome when it has come; returns true.
    bool setOperatingMode(const dispatch::group& group, const Words& words) const;
    bool time() const;
    bool wake() const;
};
