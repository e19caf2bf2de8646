#pragma once

#include "commands/RYNCommandBase.h"
#include "platform/CoreFoundation/CoreFoundation.h"

/// "power": power logs of the baseband, and power notifications as if the application processor had sent them.
class PowerCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    bool requestLog(CFStringRef action, const Words& words) const;
    bool simulate(const Words& words) const;
};
