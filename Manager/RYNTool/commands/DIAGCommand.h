#pragma once

#include "commands/RYNCommandBase.h"

/// "diag": settings of the DIAG trace, the log of the baseband's diagnostic messages.
class DIAGCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    bool status() const;
};
