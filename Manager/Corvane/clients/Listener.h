#pragma once

#include "Corvane/clients/PeerPolicy.h"
#include "Corvane/support/Result.h"
#include "Platform/FileDescriptor.h"

#include <memory>
#include <string>
#include <utility>

namespace corvane {

/// The socket that the manager listens on: handed over by systemd, or made here.
///
/// A socket made here has mode 0660 in a folder that is made with 0750, and is removed at the end. A lock on a file beside it
/// keeps a second manager away; a socket file that nobody listens on is replaced.
class Listener {
public:
    /// A refusal is a clause.
    /// @param type of sockets: SOCK_SEQPACKET or SOCK_STREAM.
    static Result<Listener> open(const std::string& path, const PeerPolicy& policy, int type);
    /// The socket that systemd hands over (sd_listen_fds(3)); an empty listener when it hands none.
    static Result<Listener> takeOver();

    explicit operator bool() const { return static_cast<bool>(socket_); }
    /// Gives the socket away; the file's fate stays here.
    platform::FileDescriptor takeSocket() { return std::move(socket_); }

private:
    struct SocketFile;

    platform::FileDescriptor socket_;
    platform::FileDescriptor lock_;
    std::shared_ptr<const SocketFile> file_;  ///< removed with the listener
};

}  // namespace corvane
