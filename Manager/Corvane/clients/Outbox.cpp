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

void setKernelBuffer(int socket, std::size_t bytes) {
    const int half = static_cast<int>(bytes / 2);  // the kernel doubles it, socket(7)
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &half, sizeof half);
}

bool isTaken(int socket, std::span<const std::uint8_t> packet) {
    const auto send = [&] { return ::send(socket, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0; };
    if (send()) {
        return true;
    }
    if (errno != EMSGSIZE) {
        return false;
    }
    setKernelBuffer(socket, 2 * packet.size());  // for the rare large packet, to which the kernel adds its own
    return send();
}

}  // namespace

Outbox::Outbox(int socket) : socket_(socket) {
    setKernelBuffer(socket, kMaxBytes);
}

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
