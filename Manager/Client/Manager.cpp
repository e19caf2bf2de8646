#include "Client/Manager.h"

#include "platform/ryn/constants.h"
#include "platform/xpc/Values.h"

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
/// Bytes of memory that events may take while they wait to be handled.
constexpr std::size_t kMostBacklog = 16'000'000;

/// The sentence of a failed command, the manager's or the library's.
std::string sentenceOf(int result, const xpc::Object& reply) {
    return xpc::textAt(reply, kKeyErrorString)
        .value_or("The manager answered with the result " + std::to_string(result) + " and no reason.");
}

}  // namespace

Manager::Manager(const std::string& clientName, dispatch_queue_t queue, Connector connector, Greeting greeting)
    : delivery_(queue), link_(clientName, std::move(connector), greeting, [this] { connected(); }), greeting_(greeting) {}

Manager::~Manager() {
    calls_.answerAll(connectionLost(link_.place(), true));
}

int Manager::perform(std::string_view command, const xpc::Object& argument, xpc::Object& reply, Clock::duration timeout) {
    const Deadline deadline{timeout};
    Lock lock(mutex_);
    ++commands_;
    const Sent sent = send(lock, wire::Request{0, command, argument}, deadline);
    return await(lock, sent, deadline, reply);
}

int Manager::greet(xpc::Object& reply, Clock::duration timeout) {
    const Deadline deadline{timeout};
    Lock lock(mutex_);
    Sent sent = send(lock, std::nullopt, deadline);
    if (!sent.failure && greetingAnswer_) {
        reply = greetingAnswer_;
        return 0;
    }
    sent.id = wire::kConnectionId;
    return await(lock, sent, deadline, reply);
}

void Manager::close() {
    const Lock lock(mutex_);
    link_.wantEvents(false);
    disconnect(closedHere(link_.place()));
}

void Manager::closeForGood() {
    {
        const Lock lock(mutex_);
        isClosed_ = true;
    }
    close();
}

int Manager::await(Lock& lock, const Sent& sent, const Deadline& deadline, xpc::Object& reply) {
    Calls::Waiter waiter{sent.id, sent.failure};
    if (!waiter.answer) {
        calls_.add(waiter);
    }
    while (!waiter.answer) {
        const auto now = Clock::now();
        if (now >= deadline.time) {
            calls_.remove(waiter);
            waiter.answer = timedOut(link_.place(), deadline.timeout);
        } else if (reading_) {
            changed_.wait_until(lock, deadline.time);
        } else {
            receive(lock, deadline.time - now);
        }
    }
    const bool handOver = calls_.anyAsynchronous();
    const FailureHandler failed = waiter.answer->result == 0 ? nullptr : failureHandler_;
    lock.unlock();
    if (handOver) {
        platform::wakeRunLoop();
    }
    if (failed) {
        failed(sentenceOf(waiter.answer->result, waiter.answer->object));
    }
    if (waiter.answer->object) {
        reply = std::move(waiter.answer->object);
    }
    return waiter.answer->result;
}

void Manager::perform(std::string_view command, const xpc::Object& argument, Completion completion, Clock::duration timeout) {
    const Deadline deadline{timeout};
    {
        Lock lock(mutex_);
        if (failureHandler_) {
            completion = [failed = failureHandler_, completion = std::move(completion)](int result, const xpc::Object& reply) {
                if (result != 0) {
                    failed(sentenceOf(result, reply));
                }
                completion(result, reply);
            };
        }
        const Sent sent = send(lock, wire::Request{0, command, argument}, deadline);
        if (sent.failure) {
            delivery_.complete(std::move(completion), *sent.failure);
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
        Lock lock(mutex_);
        link_.wantEvents(on && !isClosed_);
        if (link_.isConnected()) {
            sendDue(lock, Clock::now());
        } else if (on) {
            link_.setNextAttempt(Clock::now());  // earlier attempts that failed may have put it off
        }
    }
    platform::wakeRunLoop();
}

void Manager::setFailureHandler(FailureHandler handler) {
    const Lock lock(mutex_);
    failureHandler_ = std::move(handler);
}

Manager::Interest Manager::interest() {
    const Lock lock(mutex_);
    const bool othersRead = reading_ || (commands_ != commandsSeen_ && !calls_.anyAsynchronous());
    commandsSeen_ = commands_;

    Interest interest;
    interest.deadline = calls_.nextDeadline();
    if (!link_.isConnected()) {
        if (link_.eventsWanted()) {
            interest.deadline = std::min(interest.deadline, link_.nextAttempt());
        }
    } else if (othersRead) {
        interest.deadline = std::min(interest.deadline, Clock::now() + kQuietAfter);
    } else {
        interest.descriptor = link_.socket()->descriptor();
        interest.events = static_cast<short>(link_.eventsPending() ? POLLIN | POLLOUT : POLLIN);
    }
    return interest;
}

void Manager::serve(short events) {
    Lock lock(mutex_);
    if (events != 0) {
        for (int packets = 0; packets < kPacketsAtOnce && link_.isConnected() && !reading_; ++packets) {
            if (!receive(lock, Clock::duration::zero())) {
                break;
            }
        }
    }
    const auto now = Clock::now();
    while (auto call = calls_.takeExpired(now)) {
        delivery_.complete(std::move(call->completion), timedOut(link_.place(), call->timeout));
    }
    sendDue(lock, now);
}

Manager::Sent Manager::send(Lock& lock, std::optional<wire::Request> request, const Deadline& deadline) {
    while (!isClosed_) {
        const std::uint64_t id = nextId_;
        request_.clear();
        if (request) {
            request->id = id;
            if (!wire::encode(*request, request_)) {
                return {id, tooLarge(request->command)};
            }
        }
        const Link::Outcome outcome = link_.send(request_);
        ++nextId_;
        switch (outcome) {
            case Link::Outcome::Sent:
                return {id, std::nullopt};
            case Link::Outcome::NotConnected:
                return {id, notConnected(link_.place(), link_.error())};
            case Link::Outcome::Lost:
                return {id, readLastWords(lock)};
            case Link::Outcome::LostBefore:
                readLastWords(lock);
                break;
            case Link::Outcome::Busy:
                if (!pause(lock, deadline.time)) {
                    return {id, link_.isConnected() ? timedOut(link_.place(), deadline.timeout)
                                                    : notConnected(link_.place(), EAGAIN)};
                }
                break;
        }
    }
    return {nextId_, closedHere(link_.place())};
}

const Answer& Manager::readLastWords(Lock& lock) {
    // While this thread waits or receives, others may end the connection, and make a new one.
    const auto isPresent = [this, socket = link_.socket()] { return socket == link_.socket(); };
    changed_.wait_for(lock, kPause, [&] { return !reading_ || !isPresent(); });
    while (isPresent() && !reading_ && receive(lock, Clock::duration::zero())) {
    }
    if (isPresent()) {
        disconnect(connectionLost(link_.place(), link_.hasReceived()));
    }
    return lastEnd_;
}

void Manager::connected() {
    firstId_ = nextId_;
    greetingAnswer_ = {};
    for (const auto& handler : connectionHandlers_) {
        delivery_.event(handler, {}, 0);
    }
}

bool Manager::pause(Lock& lock, Clock::time_point deadline) {
    const auto now = Clock::now();
    if (now >= deadline) {
        return false;
    }
    const auto end = std::min(deadline, now + kPause);
    if (link_.isConnected() && !reading_) {
        receive(lock, end - now);
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
    auto packet = received.state == Socket::State::Packet ? wire::decode(received.packet) : std::nullopt;
    lock.lock();
    reading_ = false;
    changed_.notify_all();  // they see what becomes of the packet: the mutex is held until it has been handled
    if (received.state == Socket::State::Nothing) {
        return false;
    }
    if (socket != link_.socket()) {  // ended meanwhile, and its commands with it
        return true;
    }
    std::optional<Answer> failure;
    if (received.state == Socket::State::Closed) {
        failure = connectionLost(link_.place(), link_.hasReceived());
    } else if (packet) {
        failure = std::visit([&](auto& known) { return handle(known); }, *packet);
    } else {
        failure = malformedReply(link_.place());
    }
    if (failure) {
        disconnect(*failure);
    } else {
        link_.setReceived();
    }
    return true;
}

std::optional<Answer> Manager::handle(wire::Reply& reply) {
    if (reply.id == wire::kConnectionId) {
        return handleGreeting(reply);
    }
    // An id of this connection that waits no more is a reply that came too late, or a second time: dropped.
    if (reply.id < firstId_ || reply.id >= nextId_) {
        return malformedReply(link_.place());
    }
    calls_.answer(reply.id, {reply.result, std::move(reply.object)});
    return std::nullopt;
}

std::optional<Answer> Manager::handleGreeting(wire::Reply& reply) {
    if (reply.result != 0) {
        return turnedAway(link_.place(), reply.result, reply.object);
    }
    if (greeting_ == Greeting::Unanswered || greetingAnswer_ || !reply.object) {
        return malformedReply(link_.place());
    }
    greetingAnswer_ = reply.object;
    calls_.answer(reply.id, {0, std::move(reply.object)});
    return std::nullopt;
}

std::optional<Answer> Manager::handle(wire::Event& event) {
    if (!link_.eventsAllowed()) {
        return malformedReply(link_.place());
    }
    if (!link_.eventsWanted()) {  // it was on its way when events were switched off
        return std::nullopt;
    }
    const auto [begin, end] = handlers_.equal_range(event.name);
    constexpr std::size_t kPlace = 256;  // about what the queue takes for an event, however small its payload
    const std::size_t memory = begin == end ? 0 : kPlace + xpc::memoryOf(event.payload);
    std::for_each(begin, end, [&](const auto& entry) { delivery_.event(entry.second, event.payload, memory); });
    return delivery_.backlog() > kMostBacklog ? std::optional(flooded(link_.place())) : std::nullopt;
}

void Manager::disconnect(const Answer& failure) {
    lastEnd_ = failure;
    link_.close();
    calls_.answerAll(failure);
}

void Manager::sendDue(Lock& lock, Clock::time_point now) {
    const Link::Outcome outcome = link_.sendDue(now);
    if (outcome == Link::Outcome::Lost || outcome == Link::Outcome::LostBefore) {
        readLastWords(lock);
    }
}

}  // namespace ryn::client
