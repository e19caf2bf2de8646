#pragma once

#include "support/Process.h"
#include "support/TempFolder.h"

#include <memory>
#include <string>

namespace support {

/// A real manager on a socket, with state and preferences of its own. It is ready when the constructor returns.
class Daemon {
public:
    explicit Daemon(Arguments options = {}, Environment environment = {});

    /// Ends it with `signal` and waits for the end; the state stays.
    Outcome stop(int signal);
    /// Starts it again on the same socket and state.
    void start();

    Process& process() { return *process_; }
    const TempFolder& folder() const { return folder_; }
    std::string socketPath() const { return folder_ / "corvane/manager.sock"; }
    std::string statePath() const { return folder_ / "state"; }
    /// What leads a client, and the tool, to this manager.
    Environment environment() const;
    /// One run of the tool against this manager.
    Outcome tool(const Arguments& words, std::string_view input = {}) const;

private:
    Arguments options_;
    Environment extra_;
    TempFolder folder_;
    std::unique_ptr<Process> process_;
};

}  // namespace support
