#pragma once

#include "Client/Backoff.h"
#include "Client/Socket.h"
#include "Client/SocketPath.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ryn::client {

/// The way to the manager: connects when something is to be sent, says hello first and tells whether events are wanted.
/// Never waits. Not thread-safe, but for the socket that it hands out.
class Link {
public:
    Link(const std::string& clientName, SocketPath path);

    enum class Outcome : std::uint8_t {
        Sent,
        Busy,          ///< no room in the backlog or the send buffer: call again soon
        NotConnected,  ///< error() says why
        Lost,          ///< the connection is broken; close() it
    };
    /// Sends a packet behind what is due before it. @param packet empty: only what is due
    Outcome send(Bytes packet);
    void close();

    bool connected() const { return socket_ != nullptr; }
    /// Empty when not connected.
    const std::shared_ptr<Socket>& socket() const { return socket_; }
    /// Of the present connection, or else of the last attempt.
    const std::string& path() const { return path_; }
    int error() const { return error_; }
    /// How many connections have been made.
    std::uint64_t serial() const { return serial_; }

    void wantEvents(bool wanted) { eventsWanted_ = wanted; }
    bool eventsWanted() const { return eventsWanted_; }
    /// Whether the manager does not know yet what is wanted.
    bool isBehind() const { return connected() && eventsWanted_ != eventsTold_; }
    /// Whether the manager may send events on this connection.
    bool eventsAllowed() const { return eventsEverTold_; }

    /// Whether the manager has sent anything on this connection.
    bool heard() const { return heard_; }
    void setHeard() { heard_ = true; }
    /// A connection that was good for nothing doesn't count as a success.
    bool wasGood(Clock::time_point now) const { return heard_ || now - madeAt_ >= Backoff::kLongest; }

private:
    bool connect();

    const SocketPath places_;
    std::vector<std::uint8_t> hello_;   ///< encoded
    std::vector<std::uint8_t> events_;  ///< encoded
    std::shared_ptr<Socket> socket_;
    std::string path_;
    int error_ = 0;
    std::uint64_t serial_ = 0;
    Clock::time_point madeAt_;
    bool eventsWanted_ = false;
    // Of the present connection:
    bool greeted_ = false;
    bool eventsTold_ = false;
    bool eventsEverTold_ = false;
    bool heard_ = false;
};

}  // namespace ryn::client
