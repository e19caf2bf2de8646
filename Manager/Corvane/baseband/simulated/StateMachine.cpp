#include "Corvane/baseband/simulated/StateMachine.h"

#include <utility>

namespace corvane::simulated {
namespace {

constexpr const char* kSubTypeOperatingMode = "OperatingMode";
constexpr const char* kOffSentence = "The baseband is off or shutting down; a soft or hard reset boots it again.";

}  // namespace

const char* nameOf(BootState state) {
    constexpr const char* kNames[] = {"Off", "Booting", "Ready", "Resetting"};
    return kNames[static_cast<std::size_t>(state)];
}

void StateMachine::stop() {
    step_.cancel();
    std::vector<PendingAnswerPtr> open = std::exchange(transition_, {});
    for (Waiting& waiting : std::exchange(waiting_, {})) {
        open.push_back(std::move(waiting.answer));
    }
    for (const PendingAnswerPtr& answer : open) {
        answer->refuse(ResultCode::Aborted, "The manager is stopping; send the command again once it runs.");
    }
}

void StateMachine::setOperatingMode(std::int64_t mode, std::chrono::seconds timeout, Completion completion) {
    if (findMode(mode) == nullptr) {
        completion({refuseMode(mode_, mode), {}});
        return;
    }
    const auto wanted = static_cast<OperatingMode>(mode);
    const std::string tooLate = "The baseband did not reach operating mode " + describe(wanted) + " within " +
                                std::to_string(timeout.count()) + " s; allow it more time, or none for as long as it takes.";
    const auto answer = std::make_shared<PendingAnswer>(std::move(completion), loop_, timeout, tooLate);
    whenReady({[this, wanted](const PendingAnswerPtr& pending) { changeMode(wanted, pending); }, answer});
}

void StateMachine::reset(const ResetRequest& request, Completion completion) {
    const auto answer = std::make_shared<PendingAnswer>(std::move(completion));
    if (resetUnderWay_) {
        answer->refuse(ResultCode::Busy, "A reset is under way; the next one is accepted when the baseband is Ready.");
    } else if (isShuttingDown()) {
        answer->refuse(ResultCode::Busy, "The baseband is shutting down; a reset boots it again once it is Off.");
    } else {
        beginReset(request, answer);
    }
}

void StateMachine::whenReady(Completion completion, Action action) {
    whenReady({std::move(action), std::make_shared<PendingAnswer>(std::move(completion))});
}

void StateMachine::whenReady(Waiting waiting) {
    if (bootState_ == BootState::Off || isShuttingDown()) {
        waiting.answer->refuse(ResultCode::WrongState, kOffSentence);
        return;
    }
    waiting_.push_back(std::move(waiting));
    runWaiting();
}

/// An action may change the state, or ask for more.
void StateMachine::runWaiting() {
    while (bootState_ == BootState::Ready && !isShuttingDown() && !waiting_.empty()) {
        const Waiting next = std::move(waiting_.front());
        waiting_.pop_front();
        if (!next.answer->answered()) {
            next.action(next.answer);
        }
    }
}

void StateMachine::changeMode(OperatingMode mode, const PendingAnswerPtr& answer) {
    if (auto refusal = refuseMode(mode_, static_cast<std::int64_t>(mode))) {
        answer->answer({std::move(refusal), {}});
        return;
    }
    const Persistence persistence = ruleOf(mode).persistence;
    const bool persistent = persistence == Persistence::Set;
    if (persistence != Persistence::Keep && persistent != nvData_.persistentLowPower() &&
        !nvData_.setPersistentLowPower(persistent)) {
        answer->refuse(ResultCode::StorageFailed,
                       "The operating mode could not be written to the non-volatile data; nothing has changed.");
        return;
    }
    if (mode == OperatingMode::ShuttingDown) {
        beginShutdown(answer);
        return;
    }
    if (mode != mode_) {
        enter(mode);
    }
    if (mode == OperatingMode::Reset) {
        beginReset({ResetType::Soft, kSubTypeOperatingMode, "Operating mode " + describe(mode)}, answer);
        return;
    }
    answer->succeed();
}

void StateMachine::beginReset(const ResetRequest& request, const PendingAnswerPtr& answer) {
    transition_.push_back(answer);
    resetUnderWay_ = true;
    observer_.resetBegins(request);
    if (bootState_ == BootState::Off) {
        boot();
        return;
    }
    enter(BootState::Resetting);
    step_.set(request.type == ResetType::Hard ? durations_.hardReset : durations_.softReset, [this] { boot(); });
}

void StateMachine::beginShutdown(const PendingAnswerPtr& answer) {
    transition_.push_back(answer);
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
    succeedTransition();
    runWaiting();
}

void StateMachine::becomeOff() {
    enter(BootState::Off);
    succeedTransition();
    for (const Waiting& waiting : std::exchange(waiting_, {})) {
        waiting.answer->refuse(ResultCode::WrongState, kOffSentence);
    }
}

void StateMachine::enter(BootState state) {
    bootState_ = state;
    observer_.bootStateChanged(state);
}

void StateMachine::enter(OperatingMode mode) {
    mode_ = mode;
    observer_.operatingModeChanged(mode);
}

void StateMachine::succeedTransition() {
    for (const PendingAnswerPtr& answer : std::exchange(transition_, {})) {
        answer->succeed();
    }
}

}  // namespace corvane::simulated
