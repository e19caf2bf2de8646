#pragma once

#include "commands/RYNCommandBase.h"

/// The root: the versions, and every group of commands.
class RYNCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    bool info() const;
};
