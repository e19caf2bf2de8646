#pragma once

#include "Client/wire/Packet.h"
#include "Corvane/requests/Answer.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

class Dispatcher;
struct Fault;

/// Where a session's packets go.
class PacketSink {
public:
    virtual ~PacketSink() = default;
    virtual void send(std::span<const std::uint8_t> packet) = 0;
    /// Ends the conversation; nothing is received after it. @param why for the log.
    virtual void end(std::string_view why) = 0;
    /// The client begins or ceases to watch events. Comes before its next packet is served, which may bring about the first one.
    virtual void watch(bool on) = 0;
};

/// One client's conversation with the manager: its packets in, its answers out. Knows nothing of sockets.
///
/// Held by a shared pointer, so that an answer that comes when the client has gone finds nobody.
class Session : public std::enable_shared_from_this<Session> {
public:
    /// At most this many requests may wait for their answers; one more is refused.
    static constexpr std::size_t kMaxOutstanding = 256;
    /// And at most so many bytes of packets, whose arguments are kept so long; one request may always wait.
    static constexpr std::size_t kMaxOutstandingBytes = 65536;

    /// What a packet has led to.
    enum class Progress {
        Expecting,  ///< nothing was asked yet, so more is likely on its way
        Served,
        Ended,
    };

    /// Both outlive the session.
    Session(Dispatcher& dispatcher, PacketSink& sink) : dispatcher_(dispatcher), sink_(sink) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Progress receive(std::span<const std::uint8_t> packet);

    /// A completion that answers request `id` when it runs, unless the client has gone by then.
    AnswerCompletion answerLater(std::uint64_t id);
    /// Makes the request one that waits, for good if nobody answers it.
    void makeOutstanding(std::uint64_t id);
    void answer(std::uint64_t id, const Answer& answered);
    /// Any result, with an error dictionary of `sentence` unless that is empty.
    void answerResult(std::uint64_t id, std::int32_t result, const std::string& sentence);
    /// Sends bytes that are no packet of the protocol.
    void sendGarbage();
    void end(std::string_view why);

    bool greeted() const { return greeted_; }
    bool wantsEvents() const { return wantsEvents_; }
    const std::string& clientName() const { return clientName_; }
    std::size_t outstanding() const { return outstanding_.size(); }

private:
    Progress greet(const ryn::wire::Packet& packet);
    void setEvents(bool on);
    void request(const ryn::wire::Request& request, std::size_t packetSize);
    void fail(const Fault& fault, std::uint64_t id);
    void forget(std::uint64_t id);
    void send(std::uint64_t id, std::int32_t result, const xpc::Object& object);

    Dispatcher& dispatcher_;
    PacketSink& sink_;
    std::string clientName_;
    struct Outstanding {
        std::uint64_t id;
        std::size_t bytes;
    };
    std::vector<Outstanding> outstanding_;
    std::size_t outstandingBytes_ = 0;
    std::size_t requestSize_ = 0;  ///< of the request that is being served
    bool greeted_ = false;
    bool wantsEvents_ = false;
    bool ended_ = false;
};

}  // namespace corvane
