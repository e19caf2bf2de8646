#pragma once

#include "Client/wire/Packet.h"
#include "Corvane/requests/Audit.h"
#include "Corvane/requests/Command.h"
#include "Corvane/requests/RecordedRequests.h"

#include <functional>
#include <list>
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
    Replay(Loop& loop, RecordedRequests requests, Pace pace, OnEvent onEvent);
    ~Replay();

    /// nullopt: answered through `later`. A request without a reply in the recording waits until `stop`; the log names it.
    std::optional<Answer> answer(const ryn::wire::Request& request, const Requester& client, const Later& later);
    /// Answers everything that waits.
    void stop();

private:
    struct Run;

    /// Takes the request out of those that are still to be made.
    Result<std::shared_ptr<RecordedRequest>> take(const std::string& request, const std::string& client);
    void goOn(std::list<Run>::iterator run);
    /// Performs the steps that are due, and sets the timer to the next one.
    void performSteps(std::list<Run>::iterator run);
    void perform(const RecordedRequest::Step& step, AnswerCompletion& answer) const;

    Loop& loop_;
    RecordedRequests requests_;  ///< that are still to be made
    Pace pace_;
    OnEvent onEvent_;
    std::list<Run> runs_;
};

}  // namespace corvane
