#include "Corvane/baseband/simulated/StateMachine.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace corvane::simulated {
namespace {

constexpr const char* kSubTypeOperatingMode = "OperatingMode";
constexpr const char* kOffSentence = "The baseband is off or shutting down; a soft or hard reset boots it again.";

}  // namespace

void StateMachine::stop() {
    step_.cancel();
    std::vector<Completion<void>> open = std::exchange(transition_, {});
    std::ranges::move(std::exchange(waiting_, {}), std::back_inserter(open));
    for (const Completion<void>& completion : open) {
        completion(Refusal::aborted("The manager is stopping; send the command again once it runs."));
    }
}

void StateMachine::setOperatingMode(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion) {
    const std::string tooLate = fmt::format(
        "The baseband did not reach operating mode {} within {} s; allow it more time, or none for as long as it takes.",
        describe(mode), timeout.count());
    const auto answer = std::make_shared<PendingAnswer>(std::move(completion), loop_, timeout, tooLate);
    whenReady([this, mode, answer](const Result<void>& ready) {
        if (!ready) {
            answer->answer(ready);
        } else if (!answer->answered()) {
            changeMode(mode, answer);
        }
    });
}

void StateMachine::reset(const ResetRequest& request, Completion<void> completion) {
    if (resetUnderWay_) {
        completion(Refusal::busy("A reset is under way; the next one is accepted when the baseband is Ready."));
    } else if (isShuttingDown()) {
        completion(Refusal::busy("The baseband is shutting down; a reset boots it again once it is Off."));
    } else {
        beginReset(request, std::move(completion));
    }
}

void StateMachine::whenReady(Completion<void> completion) {
    if (bootState_ == BootState::Off || isShuttingDown()) {
        completion(Refusal::wrongState(kOffSentence));
        return;
    }
    waiting_.push_back(std::move(completion));
    runWaiting();
}

/// A completion may change the state, or ask for more.
void StateMachine::runWaiting() {
    while (bootState_ == BootState::Ready && !isShuttingDown() && !waiting_.empty()) {
        const Completion<void> next = std::move(waiting_.front());
        waiting_.pop_front();
        next({});
    }
}

void StateMachine::changeMode(OperatingMode mode, const PendingAnswerPtr& answer) {
    if (const Result<void> allowed = checkModeChange(mode_, mode); !allowed) {
        answer->answer(allowed);
        return;
    }
    const Persistence persistence = persistenceOf(mode);
    const bool persistent = persistence == Persistence::Set;
    if (persistence != Persistence::Keep && persistent != nvData_.persistentLowPower()) {
        if (const auto stored = nvData_.setPersistentLowPower(persistent); !stored) {
            answer->answer(stored);
            return;
        }
    }
    const auto completion = [answer](const Result<void>& reached) { answer->answer(reached); };
    if (mode == OperatingMode::ShuttingDown) {
        beginShutdown(completion);
        return;
    }
    if (mode != mode_) {
        enter(mode);
    }
    if (mode == OperatingMode::Reset) {
        beginReset({ResetType::Soft, kSubTypeOperatingMode, "Operating mode " + describe(mode)}, completion);
        return;
    }
    completion({});
}

void StateMachine::beginReset(const ResetRequest& request, Completion<void> completion) {
    transition_.push_back(std::move(completion));
    resetUnderWay_ = true;
    listener_.resetBegins(request);
    if (bootState_ == BootState::Off) {
        boot();
        return;
    }
    enter(BootState::Resetting);
    step_.set(request.type == ResetType::Hard ? durations_.hardReset : durations_.softReset, [this] { boot(); });
}

void StateMachine::beginShutdown(Completion<void> completion) {
    transition_.push_back(std::move(completion));
    enter(OperatingMode::ShuttingDown);
    step_.set(durations_.shutdown, [this] { becomeOff(); });
}

void StateMachine::boot() {
    bootBegan_ = std::chrono::steady_clock::now();
    enter(BootState::Booting);
    enter(nvData_.persistentLowPower() ? OperatingMode::PersistentLowPower : OperatingMode::LowPower);
    step_.set(durations_.boot, [this] { becomeReady(); });
}

void StateMachine::becomeReady() {
    const auto took = std::chrono::steady_clock::now() - bootBegan_;
    lastBootDuration_ = std::chrono::duration_cast<std::chrono::milliseconds>(took);
    resetUnderWay_ = false;
    enter(BootState::Ready);
    completeTransition();
    runWaiting();
}

void StateMachine::becomeOff() {
    enter(BootState::Off);
    completeTransition();
    for (const Completion<void>& waiting : std::exchange(waiting_, {})) {
        waiting(Refusal::wrongState(kOffSentence));
    }
}

void StateMachine::enter(BootState state) {
    bootState_ = state;
    listener_.bootStateChanged(state);
}

void StateMachine::enter(OperatingMode mode) {
    mode_ = mode;
    listener_.operatingModeChanged(mode);
}

void StateMachine::completeTransition() {
    for (const Completion<void>& completion : std::exchange(transition_, {})) {
        completion({});
    }
}

}  // namespace corvane::simulated
