#pragma once

#include "Corvane/clients/Connection.h"
#include "Corvane/clients/PeerPolicy.h"
#include "Corvane/loop/EventLoop.h"
#include "Corvane/requests/Statistics.h"
#include "Corvane/support/Log.h"
#include "Platform/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

namespace corvane {

/// The clients: accepts them, serves what they send, and tells those that watch what happens.
///
/// All sockets are in one epoll set: a look-round costs the same with one client and with a thousand, and serves all that have
/// sent something. The event loop is a member of that set, and is only looked at when it has something to do: a request that
/// needs nothing of it costs one wait, one receive and one send.
class Server : public ConnectionObserver {
public:
    struct Limits {
        std::size_t clients = 1024;
        std::size_t clientsOfUser = 64;  ///< of a user that is neither root nor the daemon's own
        std::chrono::seconds greeting{10};
    };

    /// @param listener a listening socket; the rest outlives the server.
    Server(sd_event& loop, LoopUse& loopUse, platform::FileDescriptor listener, PeerPolicy policy, Dispatcher& dispatcher,
           ClientFigures& figures, Limits limits);
    ~Server() override;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Serves clients and the event loop until something of either has happened. @return false when the loop has exited.
    bool turn();

    /// To every client that has events on.
    void broadcast(const char* event, const xpc::Object& payload);

private:
    using Clock = std::chrono::steady_clock;

    /// Waits for them. @return whether the event loop has something to do.
    bool serveSockets();
    void accept();
    bool admit(const PeerPolicy::Peer& peer);
    void add(platform::FileDescriptor socket, const PeerPolicy::Peer& peer);
    void serve(Connection& connection, std::uint32_t events);
    void receive(Connection& connection);
    void connectionChanged(Connection& connection) override;
    void watchersChanged(bool more) override;
    void removeEnded();
    void remove(Connection& connection);

    /// One-shot timers: a daemon without clients that are late sleeps for good.
    void endLateGreetings();
    void armGreetingTimer();
    void pauseListening();
    void resumeListening();

    sd_event& loop_;
    LoopUse& loopUse_;
    platform::FileDescriptor listener_;
    platform::FileDescriptor sockets_;  ///< the epoll set
    PeerPolicy policy_;
    Dispatcher& dispatcher_;
    ClientFigures& figures_;
    Limits limits_;
    std::unique_ptr<std::uint8_t[]> buffer_;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::vector<Connection*> ended_;
    std::unordered_map<uid_t, std::size_t> clientsOfUser_;
    std::set<std::pair<Clock::time_point, Connection*>> ungreeted_;
    std::vector<std::uint8_t> eventPacket_;
    bool serving_ = false;  ///< connections must stay until the look-round is over
    log::RateLimited refusedPeers_;
    log::RateLimited refusedOverLimit_;
    EventSource reaper_;
    EventSource greetingTimer_;
    EventSource listeningTimer_;
};

}  // namespace corvane
