#include "Corvane/clients/Door.h"

#include "Client/wire/Packet.h"
#include "Corvane/requests/Replies.h"
#include "Corvane/requests/Statistics.h"

#include <sys/socket.h>

#include <algorithm>
#include <string>

namespace corvane {

Result<void> Door::admit(const PeerPolicy::Peer& peer, std::size_t clients, std::size_t clientsOfUser) {
    const std::string user = "User " + std::to_string(peer.user);
    if (!peer.allowed) {
        ++figures_.refusedPeers;
        return Refusal::notAllowed(user + " may not use this manager; add the user to group " + PeerPolicy::kGroupName +
                                   " and log in again.");
    }
    const std::size_t places = peer.trusted ? limits_.clients : limits_.clients - std::min(limits_.reserved, limits_.clients);
    const bool userIsOverLimit = !peer.trusted && clientsOfUser >= limits_.clientsOfUser;
    if (clients < places && !userIsOverLimit) {
        return {};
    }
    ++figures_.refusedOverLimit;
    return Refusal::limitReached(userIsOverLimit ? user + " has " + std::to_string(limits_.clientsOfUser) +
                                                       " connections to this manager, the most that one user may have."
                                                 : "This manager has " + std::to_string(places) +
                                                       " clients, the most that it serves; try again when one has gone.");
}

void Door::turnAway(const platform::FileDescriptor& socket, const PeerPolicy::Peer& peer, const Refusal& refusal) {
    auto& limited = refusal.code == ResultCode::NotAllowed ? notAllowed_ : overLimit_;
    limited.write(log::Level::Warning, "refused a connection of process " + std::to_string(peer.process) + ", user " +
                                           std::to_string(peer.user) + ": " + refusal.sentence);
    if (ryn::wire::encode(ryn::wire::Reply{ryn::wire::kConnectionId, refusal.result(), errorReply(refusal, {})}, packet_)) {
        send(socket.get(), packet_.data(), packet_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    dropUnread(socket);
}

void Door::dropUnread(const platform::FileDescriptor& socket) {
    constexpr int kUsualPackets = 3;
    for (int packets = 0; packets < kUsualPackets && recv(socket.get(), nullptr, 0, MSG_DONTWAIT | MSG_TRUNC) > 0; ++packets) {
    }
}

}  // namespace corvane
