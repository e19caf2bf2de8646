#pragma once

#include "Corvane/baseband/Backends.h"
#include "Corvane/requests/FaultRules.h"
#include "Corvane/support/Result.h"

#include <string>

namespace corvane {

/// What the command line says. Empty texts stand for what was not said.
struct Options : BackendOptions {
    std::string socketPath;
    std::string stateFolder;
    const Backend* backend = &backends().front();
    FaultRules faults;
    std::string metricsFile;
    std::string recordFile;  ///< to be written
    std::string recording;   ///< to be replayed
    bool replayAtOnce = false;
    bool verbose = false;
    bool traceRequests = false;
    std::string output;  ///< of --help or --version: to be printed instead of serving

    /// Takes main's own arguments. A refusal is a clause.
    static Result<Options> parse(int count, char* const* words);
};

/// Where the manager listens when nobody says: /run/corvane/manager.sock for root, below $XDG_RUNTIME_DIR for a user.
std::string defaultSocketPath();
/// /var/lib/corvane for root, else $XDG_STATE_HOME/corvane or ~/.local/state/corvane.
std::string defaultStateFolder();

}  // namespace corvane
