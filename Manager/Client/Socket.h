#pragma once

#include "Platform/FileDescriptor.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace ryn::client {

using Clock = std::chrono::steady_clock;
using Bytes = std::span<const std::uint8_t>;

/// One connected SOCK_SEQPACKET socket. One thread at a time may receive; anything else may be called beside it. Never raises
/// SIGPIPE.
class Socket {
public:
    struct Attempt {
        std::shared_ptr<Socket> socket;  ///< empty: there was `error`
        int error = 0;                   ///< an errno value; EAGAIN: the peer's backlog is full
        std::string place;               ///< where, for people
    };
    /// Waits no longer than a kernel tick.
    static Attempt connect(const std::string& path);

    explicit Socket(platform::FileDescriptor descriptor) : descriptor_(std::move(descriptor)) {}

    struct Sent {
        std::size_t packets = 0;
        int error = 0;  ///< why not all were sent, when known: an errno value; EAGAIN: no room, or the next attempt will tell
    };
    static constexpr std::size_t kMostPackets = 3;
    /// Sends up to kMostPackets packets with one system call and doesn't wait.
    Sent send(std::span<const Bytes> packets) const;

    enum class State : std::uint8_t { Packet, Nothing, Closed };
    struct Received {
        State state;
        /// Within the buffer; empty when the packet didn't fit it.
        Bytes packet;
    };
    /// Waits up to `patience` and a tenth of a second for a packet; not at all for a patience of zero.
    Received receive(std::span<std::uint8_t> buffer, Clock::duration patience);

    /// Ends the connection; a thread that is receiving sees it closed.
    void shutdown() const;
    int descriptor() const { return descriptor_.get(); }

private:
    /// Sets the receive time-out only when the one that is set would be too short, or too long by more than a tenth of a second.
    void setPatience(Clock::duration patience);

    platform::FileDescriptor descriptor_;
    Clock::duration patience_{};
};

/// Makes a connection to the manager. Called for each one; waits no longer than a kernel tick, or a program's start.
using Connector = std::function<Socket::Attempt()>;

}  // namespace ryn::client
