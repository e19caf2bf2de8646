#pragma once

#include "Corvane/support/Result.h"
#include "platform/xpc/Object.h"

#include <cstdint>
#include <map>
#include <string>

namespace corvane {

class SettingsStore;

/// What the manager has counted since it started.
struct ClientFigures {
    std::uint64_t connected = 0;       ///< now
    std::uint64_t watchingEvents = 0;  ///< now
    std::uint64_t accepted = 0;
    std::uint64_t refusedPeers = 0;  ///< not allowed to connect
    std::uint64_t refusedOverLimit = 0;
    std::uint64_t ended = 0;  ///< by the daemon: malformed packets, no hello in time, nothing read
    std::uint64_t eventsSent = 0;

    xpc::Object toDictionary() const;
};

struct CommandFigures {
    std::map<std::string, std::uint64_t> served;  ///< by command; a count's place never changes
    std::map<std::string, std::uint64_t> resets;  ///< that were carried out, by the sub type of the request
    std::uint64_t refused = 0;
    std::uint64_t unknown = 0;  ///< commands that there are not, refused too

    /// What clients make up beyond a handful of sub types counts as "other".
    void countReset(const std::string& subType);
    xpc::Object toDictionary() const;
};

// The boot module's figures that clients report. They are kept over restarts.

/// Stores those that `reported` has, in whole seconds of a clock of the reporter's own.
Result<void> storeBootFigures(SettingsStore& store, const xpc::Object& reported);
/// Adds the reported ones to `figures`.
void addBootFigures(const SettingsStore& store, const xpc::Object& figures);

}  // namespace corvane
