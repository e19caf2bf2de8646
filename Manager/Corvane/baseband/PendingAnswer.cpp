#include "Corvane/baseband/PendingAnswer.h"

#include <algorithm>
#include <utility>

namespace corvane {
namespace {

/// Keeps an absurd time-out from overflowing the clock.
constexpr std::chrono::seconds kLongestTimeout = std::chrono::hours(24 * 365);

}  // namespace

PendingAnswer::PendingAnswer(Completion<void> completion, Loop& loop, std::chrono::seconds timeout, std::string sentence)
    : PendingAnswer(std::move(completion)) {
    if (timeout > std::chrono::seconds::zero()) {
        timeout_ = std::make_unique<Timer>(loop);
        timeout_->set(std::min(timeout, kLongestTimeout),
                      [this, said = std::move(sentence)] { answer(Refusal::timedOut(said)); });
    }
}

void PendingAnswer::answer(Result<void> result) {
    if (!answered()) {
        std::exchange(completion_, nullptr)(std::move(result));
    }
}

}  // namespace corvane
