#pragma once

#include "Corvane/clients/Door.h"
#include "Corvane/clients/Outbox.h"
#include "Corvane/clients/Session.h"
#include "Corvane/loop/Timer.h"
#include "Corvane/loop/Watch.h"
#include "Corvane/support/Log.h"
#include "Platform/FileDescriptor.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace corvane {

struct ClientFigures;

/// The clients: accepts them, serves what they send, and tells those that watch what happens.
///
/// A request that needs nothing of the loop costs one wait, one receive and one send.
class Server {
public:
    /// What is handed over by reference outlives the server.
    Server(Loop& loop, platform::FileDescriptor listeningSocket, PeerPolicy policy, Dispatcher& dispatcher,
           ClientFigures& figures, std::size_t mostClients);

    /// To every client that has events on.
    void broadcast(const char* event, const xpc::Object& payload);

private:
    /// What a user's clients have in common.
    struct User {
        std::size_t clients = 0;
        log::RateLimited log{60};   ///< lines a minute for what they cause
        log::RateLimited ends{30};  ///< and for why connections were ended: the others must not crowd it out
    };
    /// One client that is connected.
    struct Client {
        Client(platform::FileDescriptor connected, const PeerPolicy::Peer& from, User& of, Server& server);

        platform::FileDescriptor socket;
        PeerPolicy::Peer peer;
        User& user;
        Outbox outbox;
        std::shared_ptr<Session> session;
        Watch watch;
        Timer greeting;         ///< set until it has greeted
        std::size_t index = 0;  ///< among the server's clients
        bool ended = false;     ///< it stays until the turn is over
    };

    void accept();
    void add(platform::FileDescriptor socket, const PeerPolicy::Peer& peer);
    void pauseListening();
    void resumeListening();

    void serve(Client& client);
    void receive(Client& client);
    Result<Session::Progress> receivePacket(Client& client, std::span<const std::uint8_t> packet);
    void tell(const char* event, const xpc::Object& payload);
    void send(Client& client, std::span<const std::uint8_t> packet);
    void take(Client& client, Outbox::Sent sent);

    /// @param why for the log.
    void end(Client& client, std::string_view why);
    /// Lets the client go at the end of the turn.
    void lose(Client& client);
    void removeEnded();
    /// Gives memory that clients have freed back to the system.
    void returnMemory();
    void remove(Client& client);
    /// Ends a client for whose answer or event there is no memory.
    void endUnanswered(Client& client);
    /// Ends the client that holds most when there is still no reserve. Once a turn: its memory is free only after that.
    void relieve();

    Loop& loop_;
    platform::FileDescriptor listeningSocket_;
    std::optional<Watch> listening_;  ///< none while listening is paused
    Door door_;
    Dispatcher& dispatcher_;
    ClientFigures& figures_;
    std::unique_ptr<std::uint8_t[]> buffer_;  ///< for one packet in
    std::vector<std::uint8_t> packet_;        ///< one packet out
    std::vector<std::unique_ptr<Client>> clients_;
    std::vector<Client*> ended_;
    std::vector<Client*> removed_;           ///< being removed; their abandoned requests may send events that end others
    std::size_t freedBytes_ = 0;             ///< by clients that have ended, since memory was last returned to the system
    std::unordered_map<uid_t, User> users_;  ///< all that have been admitted
    /// Timers are set only when there is something to wait for: a daemon whose clients have greeted sleeps for good.
    Timer listeningTimer_;
    Timer trimTimer_;
};

}  // namespace corvane
