#include "Corvane/clients/Session.h"

#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/Recording.h"
#include "Corvane/requests/Replies.h"
#include "Corvane/support/Log.h"
#include "Corvane/support/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <utility>

namespace corvane {

namespace wire = ryn::wire;

namespace {

/// A break without a beginning (RFC 8949 section 3.2.1).
constexpr std::uint8_t kGarbage[] = {0xFF, 0x00, 0xFF};

/// One buffer for all packets out: the daemon has one thread, and the sender has taken the bytes when it returns.
std::vector<std::uint8_t>& outputBuffer() {
    static std::vector<std::uint8_t> buffer;
    return buffer;
}

}  // namespace

Result<Session::Progress> Session::receive(std::span<const std::uint8_t> packet) {
    const auto decoded = wire::decode(packet);
    if (!decoded) {
        return Refusal::invalidArgument("sent a malformed packet");
    }
    if (!greeted_) {
        return greet(*decoded);
    }
    if (const auto* asked = std::get_if<wire::Request>(&*decoded)) {
        return request(*asked, packet.size());
    }
    if (const auto* events = std::get_if<wire::Events>(&*decoded)) {
        wantsEvents_ = events->on;
        return Progress::Expecting;
    }
    return Refusal::invalidArgument("sent a packet that is not a client's");
}

Result<Session::Progress> Session::greet(const wire::Packet& packet) {
    const auto* hello = std::get_if<wire::Hello>(&packet);
    if (hello == nullptr) {
        return Refusal::invalidArgument("did not begin with hello");
    }
    constexpr std::size_t kLongestName = 64;
    client_.name = cut(hello->clientName, kLongestName);
    if (auto spoken = checkVersion(*hello); !spoken) {
        return spoken.refusal();
    }
    greeted_ = true;
    if (hello->highestVersion) {
        send(wire::kConnectionId, 0, helloReply(dispatcher_.names()));
    }
    return Progress::Expecting;
}

Result<void> Session::checkVersion(const wire::Hello& hello) {
    const std::uint64_t highest = hello.highestVersion.value_or(hello.version);
    if (hello.version <= wire::kProtocolVersion && wire::kProtocolVersion <= highest) {
        return {};
    }
    const std::string asked = fmt::format("{}{}", hello.version, hello.highestVersion ? fmt::format(" to {}", highest) : "");
    const Refusal refusal = versionNotSpoken(asked);
    send(wire::kConnectionId, refusal.result(), errorReply(refusal));
    return Refusal::versionNotSpoken("speaks version " + asked + " of the protocol");
}

Result<Session::Progress> Session::request(const wire::Request& request, std::size_t packetSize) {
    if (std::ranges::find(outstanding_, request.id, &Outstanding::id) != outstanding_.end()) {
        return Refusal::invalidArgument("used the id of a request that waits for its answer");
    }
    const bool tooManyBytes = !outstanding_.empty() && outstandingBytes_ + packetSize > kMaxOutstandingBytes;
    if (outstanding_.size() >= kMaxOutstanding || tooManyBytes) {
        answer(request.id,
               Refusal::limitReached(fmt::format("Too many requests wait for their answers: at most {}, of {} bytes in all, may.",
                                                 kMaxOutstanding, kMaxOutstandingBytes)));
        return Progress::Served;
    }
    requestSize_ = packetSize;
    recording::request(client_, request);
    if (const Fault* fault = dispatcher_.faults().find(request.command); fault != nullptr) {
        return fail(*fault, request.id);
    }
    if (const auto answered = dispatcher_.dispatch(request, client_, [this, id = request.id](std::function<void()> abandon) {
            return answerLater(id, std::move(abandon));
        })) {
        answer(request.id, *answered);
    }
    return Progress::Served;
}

Result<Session::Progress> Session::fail(const Fault& fault, std::uint64_t id) {
    switch (fault.kind) {
        case Fault::Kind::Result:
            answerResult(id, fault.result, fault.withoutDictionary ? "" : "This failure was asked for with --fault.");
            break;
        case Fault::Kind::Drop:
            return Refusal::aborted("met a fault rule");
        case Fault::Kind::Hang:
            makeOutstanding(id, {});
            break;
        case Fault::Kind::Malformed:
            sender_(kGarbage);
            break;
    }
    return Progress::Served;
}

void Session::makeOutstanding(std::uint64_t id, std::function<void()> abandon) {
    outstanding_.push_back({id, requestSize_, std::move(abandon)});
    outstandingBytes_ += requestSize_;
}

void Session::forget(std::uint64_t id) {
    const auto found = std::ranges::find(outstanding_, id, &Outstanding::id);
    if (found != outstanding_.end()) {
        outstandingBytes_ -= found->bytes;
        outstanding_.erase(found);
    }
}

std::vector<std::function<void()>> Session::takeAbandonments() {
    std::vector<std::function<void()>> abandonments;
    for (Outstanding& request : outstanding_) {
        if (request.abandon) {
            abandonments.push_back(std::move(request.abandon));
        }
    }
    return abandonments;
}

/// An answer that is owed. Where there is no memory for it, or for what would have led to it, its client's connection ends
/// instead.
class Session::LateAnswer {
public:
    LateAnswer(std::weak_ptr<Session> session, std::uint64_t id) : session_(std::move(session)), id_(id) {}
    LateAnswer(const LateAnswer&) = delete;
    LateAnswer& operator=(const LateAnswer&) = delete;
    ~LateAnswer() {
        if (const auto session = session_.lock()) {
            session->endConnection_();
        }
    }

    void give(const Answer& answered) {
        if (const auto session = std::exchange(session_, {}).lock()) {
            try {
                session->forget(id_);
                session->answer(id_, answered);
            } catch (const std::bad_alloc&) {
                session->endConnection_();
            }
        }
    }

private:
    std::weak_ptr<Session> session_;  ///< of nobody once it is given
    std::uint64_t id_;
};

AnswerCompletion Session::answerLater(std::uint64_t id, std::function<void()> abandon) {
    auto owed = std::make_shared<LateAnswer>(weak_from_this(), id);
    makeOutstanding(id, std::move(abandon));
    return [owed = std::move(owed)](const Answer& answered) { owed->give(answered); };
}

void Session::answer(std::uint64_t id, const Answer& answered) {
    if (answered) {
        send(id, 0, *answered);
        return;
    }
    dispatcher_.countRefusal();
    // The tool shows a person only that a command failed: why stands here.
    log::info("Refused " + client_.name + ": " + answered.refusal().sentence);
    send(id, answered.refusal().result(), errorReply(answered.refusal()));
}

void Session::answerResult(std::uint64_t id, std::int32_t result, const std::string& sentence) {
    dispatcher_.countRefusal();
    const Refusal refusal{static_cast<ResultCode>(result), sentence};
    send(id, result, sentence.empty() ? xpc::Object() : errorReply(refusal));
}

void Session::send(std::uint64_t id, std::int32_t result, const xpc::Object& object) {
    if (const wire::Reply reply{id, result, object}; wire::encode(reply, outputBuffer())) {
        recording::reply(client_, reply);
        sender_(outputBuffer());
        return;
    }
    log::error("a reply did not fit a packet");
    answerResult(id, static_cast<std::int32_t>(ResultCode::LimitReached), "The reply does not fit a packet.");
}

}  // namespace corvane
