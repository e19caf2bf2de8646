#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/loop/Timer.h"

#include <memory>

namespace corvane {

/// A completion that is still to run, within a time-out if its caller has set one.
class PendingAnswer {
public:
    explicit PendingAnswer(Completion<void> completion) : completion_(std::move(completion)) {}
    /// Answers TimedOut with `sentence` if nothing else has answered within `timeout`; 0 or less: no time-out.
    PendingAnswer(Completion<void> completion, Loop& loop, std::chrono::seconds timeout, std::string sentence);

    bool answered() const { return !completion_; }
    /// Runs the completion unless it has run.
    void answer(Result<void> result);

private:
    Completion<void> completion_;
    std::unique_ptr<Timer> timeout_;
};

using PendingAnswerPtr = std::shared_ptr<PendingAnswer>;

}  // namespace corvane
