#pragma once

#include "Client/wire/Packet.h"
#include "Corvane/requests/Answer.h"
#include "Corvane/requests/Audit.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace corvane {

class Dispatcher;
struct Fault;

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
    };
    using Sender = std::function<void(std::span<const std::uint8_t> packet)>;

    /// @param dispatcher outlives the session. @param client whose name comes with hello. @param sender takes the packets for the
    /// client. @param endConnection for when it can't be answered; throws nothing.
    Session(
        Dispatcher& dispatcher, Requester client, Sender sender, std::function<void()> endConnection = [] {})
        : dispatcher_(dispatcher),
          client_(std::move(client)),
          sender_(std::move(sender)),
          endConnection_(std::move(endConnection)) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// @return a refusal when the conversation is over, with what the client did.
    Result<Progress> receive(std::span<const std::uint8_t> packet);

    /// Functions that end the requests which aren't to go on without their client. Call them once the session is gone, so that
    /// their answers reach nobody.
    std::vector<std::function<void()>> takeAbandonments();

    /// Of packets whose requests wait.
    std::size_t outstandingBytes() const { return outstandingBytes_; }
    bool greeted() const { return greeted_; }
    bool wantsEvents() const { return wantsEvents_; }
    const std::string& clientName() const { return client_.name; }

private:
    Result<Progress> greet(const ryn::wire::Packet& packet);
    Result<void> checkVersion(const ryn::wire::Hello& hello);
    Result<Progress> request(const ryn::wire::Request& request, std::size_t packetSize);
    Result<Progress> fail(const Fault& fault, std::uint64_t id);

    class LateAnswer;
    /// A completion that answers request `id` when it runs, unless the client has gone by then.
    AnswerCompletion answerLater(std::uint64_t id, std::function<void()> abandon);
    /// Makes the request one that waits, for good if nobody answers it.
    void makeOutstanding(std::uint64_t id, std::function<void()> abandon);
    void answer(std::uint64_t id, const Answer& answered);
    /// Any result, with an error dictionary of `sentence` unless that is empty.
    void answerResult(std::uint64_t id, std::int32_t result, const std::string& sentence);
    void forget(std::uint64_t id);
    void send(std::uint64_t id, std::int32_t result, const xpc::Object& object);

    Dispatcher& dispatcher_;
    Requester client_;
    Sender sender_;
    std::function<void()> endConnection_;
    struct Outstanding {
        std::uint64_t id;
        std::size_t bytes;
        std::function<void()> abandon;  ///< may be empty
    };
    std::vector<Outstanding> outstanding_;
    std::size_t outstandingBytes_ = 0;
    std::size_t requestSize_ = 0;  ///< of the request that is being served
    bool greeted_ = false;
    bool wantsEvents_ = false;
};

}  // namespace corvane
