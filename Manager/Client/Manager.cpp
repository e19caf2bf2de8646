#include "Client/Manager.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <variant>

namespace ryn::client {
namespace {

/// Between attempts while the manager has no room for a connection or a packet.
constexpr std::chrono::milliseconds kPause{10};
/// So long after a synchronous command the parked thread takes over the receiving.
constexpr std::chrono::milliseconds kQuietAfter{20};
/// The parked thread looks at deadlines again after so many packets.
constexpr int kPacketsAtOnce = 64;
/// Bytes of events that may wait to be handled. Decoded they take a few dozen times as much at worst.
constexpr std::size_t kMostBacklog = 4'000'000;

Answer toAnswer(const Failure& failure) {
    return {failure.result, failure.toReply()};
}

std::chrono::milliseconds inMilliseconds(Clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration);
}

}  // namespace

Manager::Manager(const std::string& clientName, dispatch_queue_t queue, SocketPath path)
    : delivery_(queue), link_(clientName, std::move(path)) {}

Manager::~Manager() {
    calls_.answerAll(toAnswer(connectionLost(link_.path(), true)));
}

int Manager::perform(std::string_view command, const xpc::Object& argument, xpc::Object& reply, Clock::duration timeout) {
    const Deadline deadline(timeout);
    Lock lock(mutex_);
    ++commands_;
    const Sent sent = send(lock, command, argument, deadline);
    Calls::Waiter waiter{sent.id, std::nullopt};
    if (sent.failure) {
        waiter.answer = toAnswer(*sent.failure);
    } else {
        calls_.add(waiter);
    }
    while (!waiter.answer) {
        const auto now = Clock::now();
        if (now >= deadline.time) {
            calls_.remove(waiter);
            waiter.answer = toAnswer(timedOut(link_.path(), inMilliseconds(timeout)));
        } else if (reading_) {
            changed_.wait_until(lock, deadline.time);
        } else {
            receive(lock, deadline.time - now);
        }
    }
    changed_.notify_all();  // somebody else may read now
    const bool handOver = calls_.anyAsynchronous();
    lock.unlock();
    if (handOver) {
        platform::wakeRunLoop();
    }
    if (waiter.answer->object) {
        reply = std::move(waiter.answer->object);
    }
    return waiter.answer->result;
}

void Manager::perform(std::string_view command, const xpc::Object& argument, Completion completion, Clock::duration timeout) {
    const Deadline deadline(timeout);
    {
        Lock lock(mutex_);
        const Sent sent = send(lock, command, argument, deadline);
        if (sent.failure) {
            delivery_.complete(std::move(completion), toAnswer(*sent.failure));
            return;
        }
        calls_.add(sent.id, {std::move(completion), deadline.time, timeout});
    }
    platform::wakeRunLoop();
}

void Manager::addEventHandler(const std::string& event, EventHandler handler) {
    const Lock lock(mutex_);
    handlers_.emplace(event, std::make_shared<const EventHandler>(std::move(handler)));
}

void Manager::addConnectionHandler(EventHandler handler) {
    const Lock lock(mutex_);
    connectionHandlers_.push_back(std::make_shared<const EventHandler>(std::move(handler)));
}

void Manager::setEvents(bool on) {
    {
        const Lock lock(mutex_);
        link_.wantEvents(on);
        if (link_.connected()) {
            tend(Clock::now());
        } else if (on) {
            // A program that is over before the run loop's first look does not connect for its events.
            backoff_.setDue(Clock::now() + platform::kFirstLook);
        }
        if (!asked_) {
            return;
        }
    }
    platform::wakeRunLoop();
}

Manager::Interest Manager::interest() {
    const Lock lock(mutex_);
    asked_ = true;
    const bool flowing = reading_ || (commands_ != commandsSeen_ && !calls_.anyAsynchronous());
    commandsSeen_ = commands_;

    Interest interest;
    interest.deadline = calls_.nextDeadline();
    const auto lookBy = [&interest](Clock::time_point time) {
        interest.deadline = std::min(interest.deadline.value_or(time), time);
    };
    if (!link_.connected()) {
        if (link_.eventsWanted()) {
            lookBy(backoff_.due());
        }
    } else if (flowing) {
        lookBy(Clock::now() + kQuietAfter);
    } else {
        interest.descriptor = link_.socket()->descriptor();
        interest.events = static_cast<short>(link_.isBehind() ? POLLIN | POLLOUT : POLLIN);
    }
    return interest;
}

void Manager::serve(short events) {
    Lock lock(mutex_);
    if (events != 0) {
        for (int packets = 0; packets < kPacketsAtOnce && link_.connected() && !reading_; ++packets) {
            if (!receive(lock, Clock::duration::zero())) {
                break;
            }
        }
        changed_.notify_all();  // somebody may wait for the token
    }
    const auto now = Clock::now();
    while (auto call = calls_.takeExpired(now)) {
        delivery_.complete(std::move(call->completion), toAnswer(timedOut(link_.path(), inMilliseconds(call->timeout))));
    }
    tend(now);
}

Manager::Sent Manager::send(Lock& lock, std::string_view command, const xpc::Object& argument, const Deadline& deadline) {
    const std::uint64_t connections = link_.serial();
    for (;;) {
        const std::uint64_t id = nextId_++;
        if (!wire::encode(wire::Request{id, command, argument}, request_)) {
            return {id, tooLarge(command)};
        }
        switch (transmit(request_, id)) {
            case Link::Outcome::Sent:
                return {id, std::nullopt};
            case Link::Outcome::NotConnected:
                return {id, notConnected(link_.path(), link_.error())};
            case Link::Outcome::Lost: {
                const Failure lost = connectionLost(link_.path(), link_.heard());
                disconnect(lost);
                if (link_.serial() != connections) {
                    return {id, lost};
                }
                break;  // one that an earlier command made: nothing was delivered, so the request may go out on a new one
            }
            case Link::Outcome::Busy:
                if (!pause(lock, deadline.time)) {
                    return {id, link_.connected() ? timedOut(link_.path(), inMilliseconds(deadline.timeout))
                                                  : notConnected(link_.path(), EAGAIN)};
                }
                break;
        }
    }
}

Link::Outcome Manager::transmit(Bytes packet, std::uint64_t firstId) {
    const std::uint64_t connections = link_.serial();
    const Link::Outcome outcome = link_.send(packet);
    if (link_.serial() != connections) {
        firstId_ = firstId;
        for (const auto& handler : connectionHandlers_) {
            delivery_.event(handler, {}, 0);
        }
    }
    return outcome;
}

bool Manager::pause(Lock& lock, Clock::time_point deadline) {
    const auto now = Clock::now();
    if (now >= deadline) {
        return false;
    }
    const auto end = std::min(deadline, now + kPause);
    if (link_.connected() && !reading_) {
        receive(lock, end - now);
        changed_.notify_all();
    } else {
        changed_.wait_until(lock, end);
    }
    return true;
}

bool Manager::receive(Lock& lock, Clock::duration patience) {
    reading_ = true;
    const std::shared_ptr<Socket> socket = link_.socket();
    lock.unlock();
    if (!buffer_) {
        buffer_ = std::make_unique_for_overwrite<std::uint8_t[]>(wire::kMaxPacketSize);
    }
    const Socket::Received received = socket->receive({buffer_.get(), wire::kMaxPacketSize}, patience);
    std::optional<wire::Packet> packet;
    if (received.state == Socket::State::Packet) {
        packet = wire::decode(received.packet);
    }
    lock.lock();
    reading_ = false;
    if (received.state == Socket::State::Nothing) {
        return false;
    }
    if (socket != link_.socket()) {  // ended meanwhile, and its commands with it
        return true;
    }
    std::optional<Failure> failure;
    if (received.state == Socket::State::Closed) {
        failure = connectionLost(link_.path(), link_.heard());
    } else if (packet) {
        failure = std::visit([&](auto& known) { return handle(known, received.packet.size()); }, *packet);
    } else {
        failure = malformedReply(link_.path());
    }
    if (failure) {
        disconnect(*failure);
    } else {
        link_.setHeard();
    }
    return true;
}

std::optional<Failure> Manager::handle(wire::Reply& reply, std::size_t /*size*/) {
    // An id of this connection that waits no more is a reply that came too late, or a second time: dropped.
    if (reply.id < firstId_ || reply.id >= nextId_) {
        return malformedReply(link_.path());
    }
    calls_.answer(reply.id, {reply.result, std::move(reply.object)});
    changed_.notify_all();
    return std::nullopt;
}

std::optional<Failure> Manager::handle(wire::Event& event, std::size_t size) {
    if (!link_.eventsAllowed()) {
        return malformedReply(link_.path());
    }
    if (!link_.eventsWanted()) {  // it was on its way when events were switched off
        return std::nullopt;
    }
    const auto [begin, end] = handlers_.equal_range(event.name);
    std::for_each(begin, end, [&](const auto& entry) { delivery_.event(entry.second, event.payload, size); });
    return delivery_.backlog() > kMostBacklog ? std::optional(flooded(link_.path())) : std::nullopt;
}

void Manager::disconnect(const Failure& failure) {
    link_.close();
    const auto now = Clock::now();
    if (link_.wasGood(now)) {
        backoff_.reset();
    }
    backoff_.postpone(now);
    calls_.answerAll(toAnswer(failure));
    changed_.notify_all();
}

void Manager::tend(Clock::time_point now) {
    const bool due = link_.connected() ? link_.isBehind() : link_.eventsWanted() && backoff_.due() <= now;
    if (!due) {
        return;
    }
    const Link::Outcome outcome = transmit({}, nextId_);
    if (outcome == Link::Outcome::Lost) {
        disconnect(connectionLost(link_.path(), link_.heard()));
    } else if (!link_.connected()) {
        backoff_.postpone(now);
    }
}

}  // namespace ryn::client
