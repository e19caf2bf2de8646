#include "Corvane/clients/Connection.h"

#include "Corvane/support/Log.h"

#include <sys/socket.h>

#include <cerrno>

namespace corvane {

namespace {

log::RateLimited& endings() {
    static log::RateLimited limited;
    return limited;
}

/// What holding a packet back takes: its bytes, the vector and the allocator's own.
std::size_t costOf(std::span<const std::uint8_t> packet) {
    constexpr std::size_t kOverhead = 48;
    return packet.size() + kOverhead;
}

}  // namespace

Connection::Connection(platform::FileDescriptor socket, PeerPolicy::Peer peer, Dispatcher& dispatcher,
                       ConnectionObserver& observer)
    : socket_(std::move(socket)), peer_(peer), observer_(observer), session_(std::make_shared<Session>(dispatcher, *this)) {}

void Connection::receive(std::span<std::uint8_t> buffer) {
    // hello, events and the first request come together: they cost one look-round. A client that goes on so waits for its turn.
    constexpr int kPacketsATurn = 3;
    auto progress = Session::Progress::Expecting;
    for (int packets = 0; packets < kPacketsATurn && progress == Session::Progress::Expecting && !ended_; ++packets) {
        // MSG_TRUNC: the packet's own length, also where it was longer than the buffer.
        const ssize_t length = recv(descriptor(), buffer.data(), buffer.size(), MSG_DONTWAIT | MSG_TRUNC);
        if (length > 0 && static_cast<std::size_t>(length) <= ryn::wire::kMaxPacketSize) {
            progress = session_->receive(buffer.first(static_cast<std::size_t>(length)));
        } else if (length > 0) {
            session_->end("sent a packet of " + std::to_string(length) + " bytes");
        } else if (length == 0 || (errno != EAGAIN && errno != EINTR)) {
            lose();
        } else {
            return;
        }
    }
}

Connection::Sent Connection::trySend(std::span<const std::uint8_t> packet) {
    if (::send(descriptor(), packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) {
        return Sent::Whole;
    }
    return errno == EAGAIN || errno == EINTR || errno == ENOBUFS ? Sent::NotNow : Sent::Failed;
}

void Connection::send(std::span<const std::uint8_t> packet) {
    if (ended_) {
        return;
    }
    if (queue_.empty()) {
        const Sent sent = trySend(packet);
        if (sent == Sent::Failed) {
            lose();
        }
        if (sent != Sent::NotNow) {
            return;
        }
    }
    // One packet is always held back, whatever its size: its client may be only slow.
    if (!queue_.empty() && queuedBytes_ + costOf(packet) > kMaxQueuedBytes) {
        end("does not read what it is sent");
        return;
    }
    queue_.emplace_back(packet.begin(), packet.end());
    queuedBytes_ += costOf(packet);
    observer_.connectionChanged(*this);
}

void Connection::flush() {
    while (!queue_.empty() && !ended_) {
        const Sent sent = trySend(queue_.front());
        if (sent == Sent::Failed) {
            lose();
        }
        if (sent != Sent::Whole) {
            return;
        }
        queuedBytes_ -= costOf(queue_.front());
        queue_.pop_front();
    }
    observer_.connectionChanged(*this);
}

void Connection::lose() {
    ended_ = true;
    observer_.connectionChanged(*this);
}

void Connection::end(std::string_view why) {
    if (ended_) {
        return;
    }
    endedByManager_ = true;
    lose();
    endings().write(log::Level::Warning, "ended the connection of '" + session_->clientName() + "' (process " +
                                             std::to_string(peer_.process) + ", user " + std::to_string(peer_.user) + "): it " +
                                             std::string(why));
}

}  // namespace corvane
