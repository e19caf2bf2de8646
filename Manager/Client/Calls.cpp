#include "Client/Calls.h"

#include <algorithm>

namespace ryn::client {

Clock::time_point Calls::nextDeadline() const {
    const auto earliest = std::ranges::min_element(asynchronous_, {}, [](const auto& call) { return call.second.deadline; });
    return earliest == asynchronous_.end() ? Clock::time_point::max() : earliest->second.deadline;
}

void Calls::answer(std::uint64_t id, Answer answer) {
    // The answer to hello may have several.
    const auto answered = std::erase_if(waiters_, [&](Waiter* waiter) {
        if (waiter->id == id) {
            waiter->answer = answer;
        }
        return waiter->id == id;
    });
    if (answered > 0) {
        return;
    }
    if (auto call = asynchronous_.extract(id)) {
        delivery_.complete(std::move(call.mapped().completion), std::move(answer));
    }
}

void Calls::answerAll(const Answer& answer) {
    for (Waiter* const waiter : waiters_) {
        waiter->answer = answer;
    }
    waiters_.clear();
    for (auto& [id, call] : asynchronous_) {
        delivery_.complete(std::move(call.completion), answer);
    }
    asynchronous_.clear();
}

std::optional<Calls::Asynchronous> Calls::takeExpired(Clock::time_point now) {
    const auto expired = std::ranges::find_if(asynchronous_, [now](const auto& call) { return call.second.deadline <= now; });
    if (expired == asynchronous_.end()) {
        return std::nullopt;
    }
    Asynchronous call = std::move(expired->second);
    asynchronous_.erase(expired);
    return call;
}

}  // namespace ryn::client
