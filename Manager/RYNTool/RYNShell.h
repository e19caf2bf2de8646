#pragma once

#include "shell/CommandShell.h"

/// The shell of this tool: opens the manager's client and builds the command tree on it.
class RYNShell : public CommandShell {
public:
    std::shared_ptr<CommandBase> createRootCommand(const Words& words) override;
};
