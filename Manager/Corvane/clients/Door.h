#pragma once

#include "Corvane/clients/PeerPolicy.h"
#include "Corvane/support/Log.h"
#include "Corvane/support/Result.h"
#include "Platform/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace corvane {

struct ClientFigures;

/// Who is let in, and what the others are told.
class Door {
public:
    /// @param clients how many there may be. @param figures outlives this
    Door(PeerPolicy policy, std::size_t clients, ClientFigures& figures)
        : policy_(policy), clients_(clients), figures_(figures) {}

    PeerPolicy::Peer judge(int socket) const { return policy_.judge(socket); }
    /// @param clients there are now, and @param clientsOfUser of these of the peer's user
    Result<void> admit(const PeerPolicy::Peer& peer, std::size_t clients, std::size_t clientsOfUser);
    /// Says why: to the peer as a reply, and in the log at a limited rate.
    void turnAway(const platform::FileDescriptor& socket, const PeerPolicy::Peer& peer, const Refusal& refusal);
    /// Reads away what the peer has sent. Closing a socket with unread packets resets the connection, and the peer would see an
    /// error before the reply that says why it isn't served (unix(7)).
    static void dropUnread(const platform::FileDescriptor& socket);

private:
    static constexpr std::size_t kReserved = 16;       ///< of the places, for root and the daemon's own user
    static constexpr std::size_t kClientsOfUser = 64;  ///< of a user that is neither root nor the daemon's own

    PeerPolicy policy_;
    std::size_t clients_;
    ClientFigures& figures_;
    std::vector<std::uint8_t> packet_;  ///< one packet out
    log::RateLimited notAllowed_;
    log::RateLimited overLimit_;
};

}  // namespace corvane
