#pragma once

#include "Corvane/support/Result.h"

#include <functional>
#include <utility>

namespace corvane {

/// How a command ended, as it goes to the client: with a dictionary, with none, or with a refusal.
class Answer : public Result<xpc::Object> {
public:
    using Result::Result;
    Answer(Result<xpc::Object> result) : Result(std::move(result)) {}
    Answer(const Result<void>& done) : Result(done ? Result(xpc::Object{}) : Result(done.refusal())) {}
};

/// Runs exactly once.
using AnswerCompletion = std::function<void(Answer)>;

}  // namespace corvane
