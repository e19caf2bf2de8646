#include "Corvane/clients/Outbox.h"

#include <sys/socket.h>

#include <cerrno>

namespace corvane {
namespace {

/// What holding a packet back takes: its bytes, the vector and the allocator's own.
std::size_t costOf(std::span<const std::uint8_t> packet) {
    constexpr std::size_t kOverhead = 48;
    return packet.size() + kOverhead;
}

bool isTaken(int socket, std::span<const std::uint8_t> packet) {
    return ::send(socket, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

}  // namespace

Outbox::Sent Outbox::send(std::span<const std::uint8_t> packet) {
    if (packets_.empty() && isTaken(socket_, packet)) {
        return Sent::Ok;
    }
    if (packets_.empty() && errno != EAGAIN) {
        return Sent::Lost;
    }
    if (!packets_.empty() && bytes_ + costOf(packet) > kMaxBytes) {
        return Sent::Full;
    }
    packets_.emplace_back(packet.begin(), packet.end());
    bytes_ += costOf(packet);
    return Sent::Ok;
}

Outbox::Sent Outbox::flush() {
    while (!packets_.empty()) {
        if (!isTaken(socket_, packets_.front())) {
            return errno == EAGAIN ? Sent::Ok : Sent::Lost;
        }
        bytes_ -= costOf(packets_.front());
        packets_.pop_front();
    }
    return Sent::Ok;
}

}  // namespace corvane
