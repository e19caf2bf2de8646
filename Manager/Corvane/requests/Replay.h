#pragma once

#include "Client/wire/Packet.h"
#include "Corvane/requests/Audit.h"
#include "Corvane/requests/Command.h"
#include "Corvane/requests/RecordedRequests.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace corvane {

class Loop;

/// Answers clients as the manager did that made a recording.
///
/// Each client finds the requests of its name, in their order: the one that it makes is answered as it was then, and the events
/// that followed it then follow it again. Those that it leaves out are named in the log; one that isn't there is refused.
class Replay {
public:
    enum class Pace { Recorded, AtOnce };
    using OnEvent = std::function<void(const char* event, const xpc::Object& payload)>;

    /// @param loop outlives this.
    Replay(Loop& loop, RecordedRequests requests, Pace pace, OnEvent onEvent)
        : loop_(loop), requests_(std::move(requests)), pace_(pace), onEvent_(std::move(onEvent)) {}

    /// nullopt: answered through `later`, or never where the recording has no reply.
    std::optional<Answer> answer(const ryn::wire::Request& request, const Requester& client, const Later& later);

private:
    struct Run;

    /// Takes the request out of those that are still to be made.
    Result<std::shared_ptr<RecordedRequest>> take(const std::string& request, const std::string& client);
    void goOn(const std::shared_ptr<Run>& run);
    void perform(const RecordedRequest::Step& step, const AnswerCompletion& answer) const;

    Loop& loop_;
    RecordedRequests requests_;  ///< that are still to be made
    Pace pace_;
    OnEvent onEvent_;
};

}  // namespace corvane
