#pragma once

#include "commands/RYNCommandBase.h"

/// "kernelpci": settings of the kernel PCI trace.
class KernelPCICommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    bool status() const;
};
