#pragma once

#include "commands/RYNCommandBase.h"

/// "rfs": the remote filesystem, which holds the baseband's non-volatile data.
class RemoteFSCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    /// Always fails, whatever the manager answered.
    bool sync(const Words& words) const;
    /// True only when neither the erase nor the reset was answered with a reply object.
    bool erase() const;
};
