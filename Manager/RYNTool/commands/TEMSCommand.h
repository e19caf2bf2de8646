#pragma once

#include "commands/RYNCommandBase.h"

#include <string>

/// "tems": the TEMS mode, hardware or off.
class TEMSCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    bool mode(const Words& words);
    bool getMode() const;
    bool setMode(const std::string& mode) const;
};
