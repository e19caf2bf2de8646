#pragma once

#include "Corvane/requests/FaultRules.h"

#include <string>
#include <variant>
#include <vector>

namespace corvane {

/// What the command line and the environment say. Empty texts stand for what was not said.
struct Options {
    std::string socketPath;
    std::string stateFolder;
    std::string backend = "simulated";
    std::string modem;
    FaultRules faults;
    bool verbose = false;
    bool traceRequests = false;

    static constexpr int kBadUsage = 2;

    /// The program is over: `text` goes to standard output for a `status` of 0, else to standard error.
    struct Exit {
        int status;
        std::string text;
    };
    static std::variant<Options, Exit> parse(const std::vector<std::string>& arguments);
};

/// Where the manager listens when nobody says: /run/corvane/manager.sock for root, below $XDG_RUNTIME_DIR for a user.
std::string defaultSocketPath();
/// /var/lib/corvane for root, else $XDG_STATE_HOME/corvane or ~/.local/state/corvane.
std::string defaultStateFolder();

}  // namespace corvane
