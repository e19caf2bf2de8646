#pragma once

#include "Corvane/clients/Outbox.h"
#include "Corvane/clients/PeerPolicy.h"
#include "Corvane/clients/Session.h"
#include "Corvane/loop/Watch.h"
#include "Corvane/support/Log.h"
#include "Platform/FileDescriptor.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

namespace corvane {

/// What a user's clients have in common.
struct User {
    std::size_t clients = 0;
    log::RateLimited log{60};  ///< lines a minute for what they cause
};

/// One client that is connected. The server owns these, and does with them all that is done.
struct Client {
    /// @param of outlives this.
    Client(platform::FileDescriptor connected, PeerPolicy::Peer from, User& of, Loop& loop)
        : socket(std::move(connected)),
          peer(from),
          user(of),
          outbox(socket.get()),
          watch(loop, socket.get(), Watch::Order::Fair, [this] { ready(); }) {}

    platform::FileDescriptor socket;
    PeerPolicy::Peer peer;
    User& user;
    Outbox outbox;
    std::function<void()> ready;  ///< when there is something to receive, or room to send
    std::shared_ptr<Session> session;
    Watch watch;
    std::chrono::steady_clock::time_point connectedAt = std::chrono::steady_clock::now();
    std::size_t index = 0;  ///< among the server's clients
    bool ended = false;     ///< it stays until the turn is over
};

}  // namespace corvane
