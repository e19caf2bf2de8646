#include "Client/Link.h"

#include "Client/wire/Packet.h"

#include <array>
#include <cerrno>

namespace ryn::client {

Link::Link(const std::string& clientName, SocketPath path) : places_(std::move(path)) {
    // A name that doesn't fit a packet is nobody's: the manager gets its beginning.
    constexpr std::size_t kLongestName = 1024;
    wire::encode(wire::Hello{wire::kProtocolVersion, std::string_view(clientName).substr(0, kLongestName)}, hello_);
}

bool Link::connect() {
    path_ = places_.current();
    auto [socket, error] = Socket::connect(path_);
    socket_ = std::move(socket);
    error_ = error;
    if (!connected()) {
        return false;
    }
    ++serial_;
    madeAt_ = Clock::now();
    greeted_ = eventsTold_ = eventsEverTold_ = heard_ = false;
    return true;
}

Link::Outcome Link::send(Bytes packet) {
    if (!connected() && !connect()) {
        return error_ == EAGAIN ? Outcome::Busy : Outcome::NotConnected;
    }
    std::array<Bytes, Socket::kMostPackets> packets;
    std::size_t count = 0;
    const std::size_t hellos = greeted_ ? 0 : 1;
    if (hellos != 0) {
        packets[count++] = hello_;
    }
    const bool tellEvents = isBehind();
    if (tellEvents) {
        wire::encode(wire::Events{eventsWanted_}, events_);
        packets[count++] = events_;
    }
    if (!packet.empty()) {
        packets[count++] = packet;
    }
    if (count == 0) {
        return Outcome::Sent;
    }
    const auto [sent, error] = socket_->send(std::span(packets).first(count));
    greeted_ = greeted_ || sent > 0;
    if (tellEvents && sent > hellos) {
        eventsTold_ = eventsWanted_;
        eventsEverTold_ = eventsEverTold_ || eventsTold_;
    }
    switch (error) {
        case 0:
            return Outcome::Sent;
        case EAGAIN:
        case ENOBUFS:
            return Outcome::Busy;
        default:
            return Outcome::Lost;
    }
}

void Link::close() {
    if (connected()) {
        socket_->shutdown();
        socket_.reset();
    }
}

}  // namespace ryn::client
