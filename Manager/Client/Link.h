#pragma once

#include "Client/Socket.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ryn::client {

/// Whether the manager answers hello, with what it is and speaks. The answer costs a packet more.
enum class Greeting : std::uint8_t { Unanswered, Answered };

/// The way to the manager: connects when something is to be sent, says hello first, tells whether events are wanted, and knows
/// when to connect again in the background. Never waits. Not thread-safe, but for the socket that it hands out.
class Link {
public:
    /// The first delay after a failure or loss, and where its doubling ends.
    static constexpr std::chrono::milliseconds kShortestDelay{100};
    static constexpr std::chrono::milliseconds kLongestDelay{5000};

    /// @param onConnected called with each new connection, before anything is sent
    Link(const std::string& clientName, Connector connector, Greeting greeting, std::function<void()> onConnected);

    enum class Outcome : std::uint8_t {
        Sent,
        Busy,          ///< no room in the backlog or the send buffer: call again soon
        NotConnected,  ///< error() says why
        Lost,          ///< the connection that this call made is broken; close() it
        LostBefore,    ///< an older one is broken, and nothing was delivered: close() it and call again
    };
    /// Sends a packet behind what is due before it. @param packet empty: only what is due
    Outcome send(Bytes packet);
    /// Connects in the background, or tells the manager whether events are wanted, when either is due.
    Outcome sendDue(Clock::time_point now);
    void close();

    bool isConnected() const { return socket_ != nullptr; }
    /// Empty when not connected.
    const std::shared_ptr<Socket>& socket() const { return socket_; }
    /// Of the present connection, or else of the last attempt.
    const std::string& place() const { return place_; }
    int error() const { return error_; }

    void wantEvents(bool wanted) { eventsWanted_ = wanted; }
    bool eventsWanted() const { return eventsWanted_; }
    /// Whether the manager has yet to be told.
    bool eventsPending() const { return isConnected() && eventsWanted_ != eventsTold_; }
    /// Whether the manager may send events on this connection.
    bool eventsAllowed() const { return eventsAllowed_; }

    /// When to connect in the background next.
    Clock::time_point nextAttempt() const { return nextAttempt_; }
    void setNextAttempt(Clock::time_point time) { nextAttempt_ = time; }

    /// Whether the manager has sent anything on this connection.
    bool hasReceived() const { return hasReceived_; }
    void setReceived() { hasReceived_ = true; }

private:
    bool connect();
    void postpone(Clock::time_point now);

    const Connector connector_;
    const std::function<void()> onConnected_;
    std::vector<std::uint8_t> hello_;   ///< encoded
    std::vector<std::uint8_t> events_;  ///< encoded
    std::shared_ptr<Socket> socket_;
    std::string place_;
    int error_ = 0;
    bool eventsWanted_ = false;
    Clock::time_point nextAttempt_{};
    std::chrono::milliseconds delay_ = kShortestDelay;
    // Of the present connection:
    Clock::time_point madeAt_;
    bool helloSent_ = false;
    bool eventsTold_ = false;
    bool eventsAllowed_ = false;
    bool hasReceived_ = false;
};

}  // namespace ryn::client
