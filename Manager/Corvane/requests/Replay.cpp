#include "Corvane/requests/Replay.h"

#include "Corvane/loop/Timer.h"
#include "Corvane/support/Log.h"
#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace corvane {

namespace {

using Clock = std::chrono::steady_clock;

std::string shown(std::string_view request) {
    constexpr std::size_t kLongestShown = 256;
    return std::string(cut(request, kLongestShown));
}

}  // namespace

/// One request that was made again, until it is answered and all that followed it has happened.
struct Replay::Run {
    Run(Loop& loop, std::shared_ptr<RecordedRequest> made, AnswerCompletion completion)
        : request(std::move(made)), answer(std::move(completion)), timer(loop) {}

    std::shared_ptr<RecordedRequest> request;
    AnswerCompletion answer;  ///< none once it has run
    Timer timer;
    Clock::time_point began = Clock::now();
    std::size_t next = 0;  ///< of its steps
};

Replay::Replay(Loop& loop, RecordedRequests requests, Pace pace, OnEvent onEvent)
    : loop_(loop), requests_(std::move(requests)), pace_(pace), onEvent_(std::move(onEvent)) {}

Replay::~Replay() = default;

std::optional<Answer> Replay::answer(const ryn::wire::Request& request, const Requester& client, const Later& later) {
    auto taken = take(describeRequest(request.command, request.argument), client.name);
    if (!taken) {
        return Answer(taken.refusal());
    }
    const RecordedRequest& recorded = **taken;
    if (std::ranges::none_of(recorded.steps, [](const auto& step) { return step.event.empty(); })) {
        log::warning(fmt::format("the recording has no reply to '{}' of {} in line {}, so it gets none", shown(recorded.request),
                                 client.name, recorded.line));
    }
    goOn(runs_.emplace(runs_.end(), loop_, std::move(*taken), later({})));
    return std::nullopt;
}

Result<std::shared_ptr<RecordedRequest>> Replay::take(const std::string& request, const std::string& client) {
    auto& coming = requests_[client];
    const auto found = std::ranges::find(coming, request, [](const auto& recorded) { return recorded->request; });
    if (found == coming.end()) {
        const std::string next = coming.empty() ? "it has no more requests of " + client
                                                : fmt::format("the next of {} is '{}' in line {}", client,
                                                              shown(coming.front()->request), coming.front()->line);
        return Refusal::wrongState(fmt::format("'{}' departs from the recording: {}.", shown(request), next));
    }
    if (found != coming.begin()) {
        log::warning(fmt::format("{} departs from the recording: it leaves out '{}' in line {}, and goes on at line {}", client,
                                 shown(coming.front()->request), coming.front()->line, (*found)->line));
    }
    auto taken = *found;
    coming.erase(coming.begin(), found + 1);
    return taken;
}

void Replay::goOn(std::list<Run>::iterator run) {
    const bool hadMemory = loop_.withinMemory([&] { performSteps(run); });
    const bool isOver = !run->timer.isSet() && !run->answer;
    if (!hadMemory || isOver) {
        runs_.erase(run);
    }
}

void Replay::performSteps(std::list<Run>::iterator run) {
    for (const auto& steps = run->request->steps; run->next < steps.size(); ++run->next) {
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(run->began + steps[run->next].after - Clock::now());
        if (pace_ == Pace::Recorded && wait.count() > 0) {
            run->timer.set(wait, [this, run] { goOn(run); });
            return;
        }
        perform(steps[run->next], run->answer);
    }
}

void Replay::perform(const RecordedRequest::Step& step, AnswerCompletion& answer) const {
    if (!step.event.empty()) {
        onEvent_(step.event.c_str(), step.object);
    } else if (step.result == 0) {
        std::exchange(answer, nullptr)(step.object);
    } else {
        const auto code = static_cast<ResultCode>(static_cast<std::uint32_t>(step.result));
        std::exchange(answer, nullptr)(Refusal{code, textAt(step.object, ryn::kKeyErrorString).value_or(""), step.object});
    }
}

void Replay::stop() {
    for (const Run& run : runs_) {
        if (run.answer) {
            run.answer(Refusal::aborted("The manager stopped before it had replayed an answer."));
        }
    }
    runs_.clear();
}

}  // namespace corvane
