#include "Corvane/clients/Door.h"

#include "Client/wire/Packet.h"
#include "Corvane/requests/Replies.h"
#include "Corvane/requests/Statistics.h"

#include <fmt/format.h>
#include <sys/socket.h>

#include <algorithm>

namespace corvane {

Result<void> Door::admit(const PeerPolicy::Peer& peer, std::size_t clients, std::size_t clientsOfUser) {
    if (!peer.allowed) {
        ++figures_.refusedPeers;
        return Refusal::notAllowed(fmt::format("User {} may not use this manager; add the user to group {} and log in again.",
                                               peer.user, PeerPolicy::kGroupName));
    }
    const std::size_t places = peer.trusted ? clients_ : clients_ - std::min(kReserved, clients_);
    const bool userIsOverLimit = !peer.trusted && clientsOfUser >= kClientsOfUser;
    if (clients < places && !userIsOverLimit) {
        return {};
    }
    ++figures_.refusedOverLimit;
    return Refusal::limitReached(
        userIsOverLimit
            ? fmt::format("User {} has {} connections to this manager, the most that one user may have.", peer.user,
                          kClientsOfUser)
            : fmt::format("This manager has {} clients, the most that it serves; try again when one has gone.", places));
}

void Door::turnAway(const platform::FileDescriptor& socket, const PeerPolicy::Peer& peer, const Refusal& refusal) {
    auto& limited = refusal.code == ResultCode::NotAllowed ? notAllowed_ : overLimit_;
    limited.write(log::Level::Warning,
                  fmt::format("refused a connection of process {}, user {}: {}", peer.process, peer.user, refusal.sentence));
    if (ryn::wire::encode(ryn::wire::Reply{ryn::wire::kConnectionId, refusal.result(), errorReply(refusal)}, packet_)) {
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
