#pragma once

#include "Corvane/support/Result.h"
#include "platform/xpc/Object.h"

#include <functional>
#include <optional>
#include <utility>

namespace corvane {

/// How a command ended, as it goes to the client.
struct Answer {
    std::optional<Refusal> refusal = {};  ///< absent: carried out
    xpc::Object reply = {};               ///< a dictionary or none; with a refusal, what its error dictionary holds besides

    Answer(xpc::Object carriedOut) : reply(std::move(carriedOut)) {}
    Answer(Refusal why, xpc::Object details = {}) : refusal(std::move(why)), reply(std::move(details)) {}
    Answer(const Result<xpc::Object>& result) {
        if (result) {
            reply = *result;
        } else {
            refusal = result.refusal();
        }
    }
    Answer(const Result<void>& result) : refusal(result ? std::nullopt : std::optional(result.refusal())) {}
};

/// Runs exactly once.
using AnswerCompletion = std::function<void(Answer)>;

}  // namespace corvane
