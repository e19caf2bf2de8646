#pragma once

#include <sys/types.h>

#include <optional>

namespace corvane {

/// Who may connect, by the kernel's peer credentials: root, the daemon's own user, and members of the group "corvane".
class PeerPolicy {
public:
    struct Peer {
        uid_t user = 0;
        pid_t process = 0;
        bool allowed = false;
        bool trusted = false;  ///< root or the daemon's own user: no limit of connections a user
    };

    static constexpr const char* kGroupName = "corvane";

    PeerPolicy();

    /// The group, if there is one on this machine.
    std::optional<gid_t> group() const { return group_; }
    /// @param socket connected, of the Unix domain.
    Peer judge(int socket) const;

private:
    bool isMember(int socket, gid_t primaryGroup) const;

    uid_t ownUser_;
    std::optional<gid_t> group_;
};

}  // namespace corvane
