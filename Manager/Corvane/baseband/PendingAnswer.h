#pragma once

#include "Corvane/loop/Timer.h"
#include "Corvane/support/Result.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

namespace corvane {

/// A completion that is still to run, within a time-out if its caller has set one.
class PendingAnswer {
public:
    /// Answers TimedOut with `sentence` if nothing else has answered within `timeout`; 0 or less: no time-out.
    PendingAnswer(Completion<void> completion, Loop& loop, std::chrono::seconds timeout, const std::string& sentence)
        : completion_(std::move(completion)), timeout_(loop) {
        // Keeps an absurd time-out from overflowing the clock.
        constexpr std::chrono::seconds kLongestTimeout = std::chrono::hours(24 * 365);
        if (timeout > std::chrono::seconds::zero()) {
            timeout_.set(std::min(timeout, kLongestTimeout), [this, sentence] { answer(Refusal::timedOut(sentence)); });
        }
    }

    bool answered() const { return !completion_; }
    /// Runs the completion unless it has run.
    void answer(Result<void> result) {
        if (!answered()) {
            std::exchange(completion_, nullptr)(std::move(result));
        }
    }

private:
    Completion<void> completion_;
    Timer timeout_;
};

using PendingAnswerPtr = std::shared_ptr<PendingAnswer>;

}  // namespace corvane
