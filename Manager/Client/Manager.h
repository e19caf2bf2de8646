#pragma once

#include "Client/Calls.h"
#include "Client/Delivery.h"
#include "Client/Failure.h"
#include "Client/Link.h"
#include "Client/SocketPath.h"
#include "Client/wire/Packet.h"
#include "Platform/RunLoop.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace ryn::client {

/// A deadline may be no later: one that is counted in nanoseconds overflows after 292 years.
inline constexpr std::chrono::seconds kLongestTimeout{365L * 24 * 60 * 60};

/// How long a command waits for its reply: "KeyTimeout" seconds of its argument and 5 more when that is present and
/// positive (a year at most); else 300 s for the commands that work for minutes, 60 s for the others.
std::chrono::seconds timeoutOf(std::string_view command, const xpc::Object& argument);

/// One client's connection to the manager, the commands that wait on it and the handlers of its events.
///
/// Nobody's thread is set apart for receiving. The caller of a synchronous command reads the socket itself and hands what
/// it meets for others to them; while no such caller reads, the thread that is parked in the run loop does. Who reads holds the
/// token `reading_`, and the receive buffer with it; everything else is guarded by `mutex_`, which is never held while waiting.
class Manager final : public platform::RunLoopSource {
public:
    Manager(const std::string& clientName, dispatch_queue_t queue, Connector connector = SocketPath(),
            Greeting greeting = Greeting::Unanswered);
    ~Manager() override;
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    /// Sends, waits and returns the result; see ryn::client::PerformCommand.
    int perform(std::string_view command, const xpc::Object& argument, xpc::Object& reply, Clock::duration timeout);
    void perform(std::string_view command, const xpc::Object& argument, Completion completion, Clock::duration timeout);
    /// Connects when that is to be done, and gives the manager's answer to hello, as a reply. Of a greeting that is answered
    /// only.
    int greet(xpc::Object& reply, Clock::duration timeout);
    /// Ends the connection, what waits on it and the events, until the next command.
    void close();
    /// The same for good: what is performed after this ends at once, as closed here, and events stay off.
    void closeForGood();
    void addEventHandler(const std::string& event, EventHandler handler);
    /// Runs, without a payload, each time that a connection has been made.
    void addConnectionHandler(EventHandler handler);
    void setEvents(bool on);
    void setFailureHandler(FailureHandler handler);

    Interest interest() override;
    void serve(short events) override;

private:
    using Lock = std::unique_lock<std::mutex>;
    struct Deadline {
        Clock::duration timeout;
        Clock::time_point time = Clock::now() + timeout;
    };
    struct Sent {
        std::uint64_t id;
        std::optional<Answer> failure;  ///< absent: the request is on its way
    };
    /// @param request gets an id; absent: sends only what is due before one
    Sent send(Lock& lock, std::optional<wire::Request> request, const Deadline& deadline);
    /// Waits for the answer, which `sent` may have.
    int await(Lock& lock, const Sent& sent, const Deadline& deadline, xpc::Object& reply);
    /// Lets a moment pass, in which what has come is received. @return false when the deadline is over
    bool pause(Lock& lock, Clock::time_point deadline);

    /// Receives what the manager said before it closed the connection, or lets the thread that reads do so for a moment, then
    /// ends it. @return why it ended
    const Answer& readLastWords(Lock& lock);

    /// Takes the token, receives one packet and handles it. @return whether there was anything, the connection's end included
    bool receive(Lock& lock, Clock::duration patience);
    // Why the connection must end when it does not go on with the packet.
    std::optional<Answer> handleGreeting(wire::Reply& reply);
    std::optional<Answer> handle(wire::Reply& reply);
    std::optional<Answer> handle(wire::Event& event);
    template <typename Unexpected>
    std::optional<Answer> handle(Unexpected&) {
        return malformedReply(link_.place());
    }
    void disconnect(const Answer& failure);
    void connected();
    void sendDue(Lock& lock, Clock::time_point now);

    std::mutex mutex_;
    std::condition_variable changed_;  ///< an answer has come, or the token is free
    Delivery delivery_;
    Link link_;
    Calls calls_{delivery_};
    std::multimap<std::string, std::shared_ptr<const EventHandler>, std::less<>> handlers_;
    std::vector<std::shared_ptr<const EventHandler>> connectionHandlers_;
    FailureHandler failureHandler_;
    std::vector<std::uint8_t> request_;  ///< encoded
    std::uint64_t nextId_ = 1;
    std::uint64_t firstId_ = 1;  ///< of the present connection

    const Greeting greeting_;
    xpc::Object greetingAnswer_;  ///< on the present connection; empty: none has come

    Answer lastEnd_;         ///< why the last connection ended
    bool isClosed_ = false;  ///< for good

    bool reading_ = false;
    std::unique_ptr<std::uint8_t[]> buffer_;  ///< of kMaxPacketSize bytes, belongs to who reads

    // So that the parked thread is not woken by each reply while synchronous commands follow one another:
    std::uint64_t commands_ = 0;
    std::uint64_t commandsSeen_ = 0;  ///< when the run loop asked last
};

}  // namespace ryn::client
