#include "Corvane/clients/PeerPolicy.h"

#include <grp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace corvane {

namespace {

std::optional<gid_t> findGroup(const char* name) {
    const group* const found = getgrnam(name);  // asked once, at the start
    return found == nullptr ? std::nullopt : std::optional(found->gr_gid);
}

}  // namespace

PeerPolicy::PeerPolicy() : ownUser_(geteuid()), group_(findGroup(kGroupName)) {}

PeerPolicy::Peer PeerPolicy::judge(int socket) const {
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) {
        return {};
    }
    Peer peer{credentials.uid, credentials.pid, false, false};
    peer.trusted = peer.user == 0 || peer.user == ownUser_;
    peer.allowed = peer.trusted || isMember(socket, credentials.gid);
    return peer;
}

bool PeerPolicy::isMember(int socket, gid_t primaryGroup) const {
    if (!group_ || primaryGroup == *group_) {
        return group_.has_value();
    }
    std::vector<gid_t> groups(64);
    socklen_t length = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    int result = getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length);
    if (result != 0 && errno == ERANGE) {
        groups.resize(length / sizeof(gid_t));
        result = getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length);
    }
    groups.resize(result == 0 ? length / sizeof(gid_t) : 0);
    return std::ranges::find(groups, *group_) != groups.end();
}

}  // namespace corvane
