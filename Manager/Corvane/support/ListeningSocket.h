#pragma once

#include "Corvane/support/Result.h"
#include "Platform/FileDescriptor.h"

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace corvane {

/// A socket that the manager listens on: handed over by systemd, or made here.
///
/// A socket made here has mode 0660 in a folder that is made with 0750, and is removed at the end. A lock on a file beside it
/// keeps a second manager away; a socket file that nobody listens on is replaced.
class ListeningSocket {
public:
    /// A refusal is a clause.
    /// @param group whose members may connect; nullopt: nobody but root and the manager's own user
    /// @param type of sockets: SOCK_SEQPACKET or SOCK_STREAM
    static Result<ListeningSocket> open(const std::string& path, std::optional<gid_t> group, int type);
    /// The socket that systemd hands over (sd_listen_fds(3)); an empty one when it hands none.
    static Result<ListeningSocket> takeOver();

    explicit operator bool() const { return static_cast<bool>(socket_); }
    int get() const { return socket_.get(); }
    /// Gives the socket away; its file is still removed with this.
    platform::FileDescriptor take() { return std::move(socket_); }

private:
    struct SocketFile;

    platform::FileDescriptor socket_;
    platform::FileDescriptor lock_;
    std::shared_ptr<const SocketFile> file_;  ///< removed with this
};

}  // namespace corvane
