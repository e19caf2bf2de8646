#include "Client/Link.h"

#include "Client/wire/Packet.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace ryn::client {

Link::Link(const std::string& clientName, Connector connector, Greeting greeting, std::function<void()> onConnected)
    : connector_(std::move(connector)), onConnected_(std::move(onConnected)) {
    // Of a name that doesn't fit a packet the manager gets the beginning.
    constexpr std::size_t kLongestName = 1024;
    wire::Hello hello{wire::kProtocolVersion, std::string_view(clientName).substr(0, kLongestName)};
    if (greeting == Greeting::Answered) {
        hello.highestVersion = wire::kProtocolVersion;
    }
    wire::encode(hello, hello_);
}

bool Link::connect() {
    auto [socket, error, place] = connector_();
    socket_ = std::move(socket);
    error_ = error;
    place_ = std::move(place);
    if (!isConnected()) {
        return false;
    }
    madeAt_ = Clock::now();
    helloSent_ = eventsTold_ = eventsAllowed_ = hasReceived_ = false;
    onConnected_();
    return true;
}

Link::Outcome Link::send(Bytes packet) {
    const bool isNew = !isConnected();
    if (isNew && !connect()) {
        return error_ == EAGAIN ? Outcome::Busy : Outcome::NotConnected;
    }
    std::array<Bytes, Socket::kMostPackets> packets;
    std::size_t count = 0;
    const std::size_t hellos = helloSent_ ? 0 : 1;
    if (hellos != 0) {
        packets[count++] = hello_;
    }
    const bool tellEvents = eventsPending();
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
    helloSent_ = helloSent_ || sent > 0;
    if (tellEvents && sent > hellos) {
        eventsTold_ = eventsWanted_;
        eventsAllowed_ = eventsAllowed_ || eventsTold_;
    }
    switch (error) {
        case 0:
            return Outcome::Sent;
        case EAGAIN:
        case ENOBUFS:  // the kernel lacks memory just now
            return Outcome::Busy;
        default:
            return isNew ? Outcome::Lost : Outcome::LostBefore;
    }
}

Link::Outcome Link::sendDue(Clock::time_point now) {
    const bool isDue = isConnected() ? eventsPending() : eventsWanted_ && nextAttempt_ <= now;
    if (!isDue) {
        return Outcome::Sent;
    }
    const Outcome outcome = send({});
    if (!isConnected()) {
        postpone(now);
    }
    return outcome;
}

void Link::postpone(Clock::time_point now) {
    nextAttempt_ = now + delay_;
    delay_ = std::min(2 * delay_, kLongestDelay);
}

void Link::close() {
    if (!isConnected()) {
        return;
    }
    socket_->shutdown();
    socket_.reset();
    const auto now = Clock::now();
    // A connection that failed at once, before its first reply, doesn't reset the delay.
    if (hasReceived_ || now - madeAt_ >= kLongestDelay) {
        delay_ = kShortestDelay;
    }
    postpone(now);
}

}  // namespace ryn::client
