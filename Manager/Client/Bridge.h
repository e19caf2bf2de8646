#pragma once

#include "Client/Socket.h"

#include <string>
#include <vector>

namespace ryn::client {

/// Reaches a manager through a program that carries packets over its standard input and output, for instance "ssh bench
/// corvane-bridge". Each connection is a process of its own, which ends with the connection, and the connection with it.
class Bridge {
public:
    /// @param command the program, looked for in PATH, and its words
    explicit Bridge(std::vector<std::string> command) : command_(std::move(command)) {}

    /// Starts the program: a Connector.
    Socket::Attempt operator()() const;

private:
    std::vector<std::string> command_;
};

}  // namespace ryn::client
