#pragma once

#include "commands/RYNCommandBase.h"

#include <string>

/// "baseband reset": resets the baseband with a reason, and lifts a reset block.
class ResetCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    bool reset(const char* type, const Words& words);
    /// Tells the outcome. @return the manager's result.
    int resetBaseband(const std::string& type, const std::string& reason) const;
    bool unblock() const;
};
