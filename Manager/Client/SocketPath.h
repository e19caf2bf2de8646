#pragma once

#include "Client/Socket.h"

#include <string>

namespace ryn::client {

/// Where the manager listens: `CORVANE_SOCKET`, else `$XDG_RUNTIME_DIR/corvane/manager.sock` if it exists, else
/// `/run/corvane/manager.sock`. The environment is read once; what exists is asked again for each connection.
class SocketPath {
public:
    SocketPath();
    /// Always this one.
    explicit SocketPath(std::string path) : chosen_(std::move(path)) {}

    std::string current() const;
    /// Connects there: a Connector.
    Socket::Attempt operator()() const { return Socket::connect(current()); }

private:
    std::string chosen_;   ///< empty: not fixed
    std::string perUser_;  ///< empty: the user has no runtime folder
};

}  // namespace ryn::client
