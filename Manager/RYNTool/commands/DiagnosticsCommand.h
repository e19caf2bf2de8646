#pragma once

#include "commands/RYNCommandBase.h"

#include <string>

/// "baseband diagnostics": runs and aborts the RF self-test, and prints what the manager tells of it at any time.
class DiagnosticsCommand : public RYNCommandBase {
public:
    using RYNCommandBase::RYNCommandBase;

protected:
    void registerCommands() override;

private:
    void listen();
    bool run(const dispatch::group& group, const Words& words);
    void send(const dispatch::group& group, const std::string& action, const std::string& type) const;
};
