#pragma once

#include "commands/RYNCommandBase.h"

/// "coredump": whether core dumps of the baseband are collected.
class CoredumpCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    bool status() const;
};
