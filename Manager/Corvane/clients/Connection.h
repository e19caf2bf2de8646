#pragma once

#include "Corvane/clients/PeerPolicy.h"
#include "Corvane/clients/Session.h"
#include "Corvane/loop/Watch.h"
#include "Platform/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace corvane {

class Connection;

/// Told when a connection has ended or has something else to wait for, and when it begins or ceases to watch events.
class ConnectionObserver {
public:
    virtual ~ConnectionObserver() = default;
    virtual void connectionChanged(Connection& connection) = 0;
    virtual void watchersChanged(bool more) = 0;
};

/// One client's socket: receives its packets for the session, and holds back what the client is too slow to take.
class Connection : public PacketSink {
public:
    /// Of memory, beyond what the kernel buffers. A client that lets more pile up loses its connection.
    static constexpr std::size_t kMaxQueuedBytes = 32768;

    /// @param observer outlives the connection, and doesn't destroy it while it is being told.
    Connection(platform::FileDescriptor socket, PeerPolicy::Peer peer, Dispatcher& dispatcher, ConnectionObserver& observer);

    /// Receives until something was asked, nothing is there, or the client's turn is over.
    /// @param buffer one byte more than a packet may have.
    void receive(std::span<std::uint8_t> buffer);
    /// Sends what was held back.
    void flush();

    void send(std::span<const std::uint8_t> packet) override;
    void end(std::string_view why) override;
    void watch(bool on) override { observer_.watchersChanged(on); }

    /// Nothing more is read while answers wait for the client to read them.
    Watch::Interest interest() const { return queue_.empty() ? Watch::Interest::Read : Watch::Interest::Write; }
    bool ended() const { return ended_; }
    bool endedByManager() const { return endedByManager_; }
    int descriptor() const { return socket_.get(); }
    const PeerPolicy::Peer& peer() const { return peer_; }
    const Session& session() const { return *session_; }

    /// The server's notes.
    struct Notes {
        std::optional<Watch> watch;
        std::size_t index = 0;
        bool removing = false;
        std::chrono::steady_clock::time_point greetingDeadline;
    };
    Notes notes;

private:
    enum class Sent { Whole, NotNow, Failed };
    Sent trySend(std::span<const std::uint8_t> packet);
    void lose();

    platform::FileDescriptor socket_;
    PeerPolicy::Peer peer_;
    ConnectionObserver& observer_;
    std::shared_ptr<Session> session_;
    std::deque<std::vector<std::uint8_t>> queue_;
    std::size_t queuedBytes_ = 0;
    bool ended_ = false;
    bool endedByManager_ = false;
};

}  // namespace corvane
