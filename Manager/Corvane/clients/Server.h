#pragma once

#include "Corvane/clients/Connection.h"
#include "Corvane/clients/PeerPolicy.h"
#include "Corvane/loop/Timer.h"
#include "Corvane/loop/Watch.h"
#include "Corvane/requests/Statistics.h"
#include "Corvane/support/Log.h"
#include "Platform/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

namespace corvane {

/// The clients: accepts them, serves what they send, and tells those that watch what happens.
///
/// A request that needs nothing of the loop costs one wait, one receive and one send.
class Server : public ConnectionObserver {
public:
    struct Limits {
        std::size_t clients = 1024;
        std::size_t reserved = 16;       ///< of these, for root and the daemon's own user
        std::size_t clientsOfUser = 64;  ///< of a user that is neither root nor the daemon's own
        std::chrono::seconds greeting{10};
    };

    /// @param listener a listening socket; the rest outlives the server.
    Server(Loop& loop, platform::FileDescriptor listener, PeerPolicy policy, Dispatcher& dispatcher, ClientFigures& figures,
           Limits limits);
    ~Server() override;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// To every client that has events on.
    void broadcast(const char* event, const xpc::Object& payload);

private:
    using Clock = std::chrono::steady_clock;

    void accept();
    Result<void> admit(const PeerPolicy::Peer& peer);
    void turnAway(const platform::FileDescriptor& socket, const PeerPolicy::Peer& peer, const Refusal& refusal);
    void add(platform::FileDescriptor socket, const PeerPolicy::Peer& peer);
    void serve(Connection& connection);
    void receive(Connection& connection);
    void connectionChanged(Connection& connection) override;
    void watchersChanged(bool more) override;
    void removeEnded();
    void remove(Connection& connection);

    void endLateGreetings();
    void armGreetingTimer();
    void pauseListening();
    void resumeListening();

    Loop& loop_;
    platform::FileDescriptor listener_;
    std::optional<Watch> listening_;  ///< none while listening is paused
    PeerPolicy policy_;
    Dispatcher& dispatcher_;
    ClientFigures& figures_;
    Limits limits_;
    std::unique_ptr<std::uint8_t[]> buffer_;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::vector<Connection*> ended_;
    std::unordered_map<uid_t, std::size_t> clientsOfUser_;
    std::set<std::pair<Clock::time_point, Connection*>> ungreeted_;
    std::vector<std::uint8_t> packet_;  ///< being composed
    log::RateLimited notAllowed_;
    log::RateLimited overLimit_;
    /// Both are set only when there is something to wait for: a daemon whose clients have greeted sleeps for good.
    Timer greetingTimer_;
    Timer listeningTimer_;
};

}  // namespace corvane
