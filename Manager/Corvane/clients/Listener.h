#pragma once

#include "Corvane/clients/PeerPolicy.h"
#include "Platform/FileDescriptor.h"

#include <sys/types.h>

#include <string>
#include <utility>
#include <variant>

namespace corvane {

/// The socket that the manager listens on: handed over by systemd, or made here.
///
/// A socket made here has mode 0660 in a folder that is made with 0750, and is removed at the end. A lock on a file beside it
/// keeps a second manager away; a socket file that nobody listens on is replaced.
class Listener {
public:
    /// @return the listener, or why there can't be one, in one sentence.
    /// @param type of sockets: SOCK_SEQPACKET or SOCK_STREAM.
    static std::variant<Listener, std::string> open(const std::string& path, const PeerPolicy& policy, int type);
    /// The socket that systemd hands over (sd_listen_fds(3)); an empty listener when it hands none.
    static std::variant<Listener, std::string> takeOver();

    Listener() = default;
    Listener(Listener&& other) noexcept = default;
    Listener& operator=(Listener&& other) noexcept = default;
    ~Listener();

    explicit operator bool() const { return static_cast<bool>(socket_); }
    /// Gives the socket away; the file's fate stays here.
    platform::FileDescriptor takeSocket() { return std::move(socket_); }

private:
    /// The socket's file. Empty when moved from.
    struct OwnedPath {
        std::string text;
        dev_t device = 0;
        ino_t inode = 0;
        OwnedPath() = default;
        OwnedPath(std::string path, dev_t onDevice, ino_t number) : text(std::move(path)), device(onDevice), inode(number) {}
        OwnedPath(OwnedPath&& other) noexcept : text(std::exchange(other.text, {})), device(other.device), inode(other.inode) {}
        OwnedPath& operator=(OwnedPath&& other) noexcept {
            std::swap(text, other.text);
            std::swap(device, other.device);
            std::swap(inode, other.inode);
            return *this;
        }
    };

    platform::FileDescriptor socket_;
    platform::FileDescriptor lock_;
    OwnedPath path_;
};

}  // namespace corvane
