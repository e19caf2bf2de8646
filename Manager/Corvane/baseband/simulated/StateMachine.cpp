#include "Corvane/baseband/simulated/StateMachine.h"

#include <fmt/format.h>

#include <iterator>
#include <utility>

namespace corvane::simulated {
namespace {

constexpr std::chrono::milliseconds kSoftReset{80};
constexpr std::chrono::milliseconds kHardReset{160};  // a power cycle
constexpr std::chrono::milliseconds kBoot{140};
constexpr std::chrono::milliseconds kShutdown{100};
constexpr std::chrono::milliseconds kPatience{5000};  // with a command to a baseband that hangs

constexpr const char* kStopping = "The manager is stopping; send the command again once it runs.";
constexpr const char* kSubTypeOperatingMode = "OperatingMode";
constexpr const char* kOffSentence = "The baseband is off or shutting down; a soft or hard reset boots it again.";
constexpr const char* kBootFailure = "The baseband has failed to boot; a soft or hard reset tries again.";
constexpr const char* kHangs = "The baseband hangs and doesn't answer; a hard reset ends that.";

/// What a mode does to the flag in the non-volatile data that keeps the baseband in low power over boots, at the index of the
/// mode.
enum class Persistence { Keep, Set, Clear };
constexpr Persistence kPersistence[] = {Persistence::Clear, Persistence::Clear, Persistence::Clear, Persistence::Keep,
                                        Persistence::Keep,  Persistence::Keep,  Persistence::Set,   Persistence::Clear};
static_assert(std::size(kPersistence) == static_cast<std::size_t>(OperatingMode::ModeOnlyLowPower) + 1);

}  // namespace

void StateMachine::stop() {
    step_.cancel();
    patience_.cancel();
    giveUpModeChange(Refusal::aborted(kStopping));
    completeAll(transition_, Refusal::aborted(kStopping));
    completeAll(waiting_, Refusal::aborted(kStopping));
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
    if (hanging_ && request.type == ResetType::Soft) {
        completion(Refusal::basebandFailed(kHangs));
    } else if (resetUnderWay_ && !hanging_) {
        completion(Refusal::busy("A reset is under way; the next one is accepted when the baseband is Ready."));
    } else if (isShuttingDown()) {
        completion(Refusal::busy("The baseband is shutting down; a reset boots it again once it is Off."));
    } else {
        beginReset(request, std::move(completion));
    }
}

void StateMachine::whenReady(Completion<void> completion) {
    if (bootState_ == BootState::Off || isShuttingDown()) {
        completion(offRefusal());
        return;
    }
    waiting_.push_back(std::move(completion));
    if (hanging_) {
        losePatience();
    }
    runWaiting();
}

void StateMachine::losePatience() {
    if (!patience_.isSet()) {
        patience_.set(kPatience, [this] {
            completeAll(transition_, Refusal::timedOut(kHangs));
            giveUpModeChange(Refusal::timedOut(kHangs));
            completeAll(waiting_, Refusal::timedOut(kHangs));
        });
    }
}

Result<void> StateMachine::checkAnswering() const {
    return hanging_ ? Refusal::timedOut(kHangs) : Result<void>();
}

Refusal StateMachine::offRefusal() const {
    return Refusal::wrongState(bootFailure_.empty() ? kOffSentence : bootFailure_);
}

bool StateMachine::canRunWaiting() const {
    return bootState_ == BootState::Ready && !isShuttingDown() && !hanging_ && !changing_ && !waiting_.empty() && !awaitsTurn_;
}

/// A completion may change the state, ask for more, or wait for the disk: many of them are run in several turns.
void StateMachine::runWaiting() {
    while (canRunWaiting()) {
        const Completion<void> next = std::move(waiting_.front());
        waiting_.pop_front();
        next({});
        if (loop_.isLate() && !waiting_.empty()) {
            awaitsTurn_ = true;
            loop_.deferToLull([this] {
                awaitsTurn_ = false;
                runWaiting();
            });
        }
    }
}

void StateMachine::changeMode(OperatingMode mode, const PendingAnswerPtr& answer) {
    if (mode == OperatingMode::Reset && mode_ != OperatingMode::Offline) {
        answer->answer(
            Refusal::wrongState(fmt::format("Operating mode {} is accepted from mode {} only; the baseband is in mode {}.",
                                            describe(mode), describe(OperatingMode::Offline), describe(mode_))));
        return;
    }
    const Persistence persistence = kPersistence[static_cast<std::size_t>(mode)];
    const bool persistent = persistence == Persistence::Set;
    if (persistence != Persistence::Keep && persistent != nvData_.persistentLowPower()) {
        if (const auto stored = nvData_.setPersistentLowPower(persistent); !stored) {
            answer->answer(stored);
            return;
        }
    }
    if (modeChangeLasts_ == std::chrono::milliseconds::zero() || mode == mode_) {
        reachMode(mode, answer);
        return;
    }
    changing_ = answer;
    modeChange_.set(modeChangeLasts_, [this, mode, answer] {
        changing_.reset();
        reachMode(mode, answer);
        runWaiting();
    });
}

void StateMachine::reachMode(OperatingMode mode, const PendingAnswerPtr& answer) {
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

void StateMachine::giveUpModeChange(const Refusal& refusal) {
    modeChange_.cancel();
    if (const PendingAnswerPtr given = std::exchange(changing_, nullptr)) {
        given->answer(refusal);
    }
}

void StateMachine::beginReset(const ResetRequest& request, Completion<void> completion) {
    if (std::exchange(hanging_, false)) {
        patience_.cancel();
        completeAll(transition_, Refusal::basebandFailed("The baseband hung and had to be reset hard."));
    }
    giveUpModeChange(Refusal::aborted("A reset came before the baseband had reached its new operating mode."));
    transition_.push_back(std::move(completion));
    resetUnderWay_ = true;
    listener_.resetBegins(request);
    if (bootState_ == BootState::Off) {
        boot();
        return;
    }
    enter(BootState::Resetting);
    step_.set(request.type == ResetType::Hard ? kHardReset : kSoftReset, [this] { boot(); });
}

void StateMachine::beginShutdown(Completion<void> completion) {
    transition_.push_back(std::move(completion));
    enter(OperatingMode::ShuttingDown);
    step_.set(kShutdown, [this] { becomeOff({}); });
}

void StateMachine::boot() {
    bootBegan_ = std::chrono::steady_clock::now();
    bootFailure_.clear();
    enter(BootState::Booting);
    enter(nvData_.persistentLowPower() ? OperatingMode::PersistentLowPower : OperatingMode::LowPower);
    step_.set(kBoot, [this] { becomeReady(); });
}

void StateMachine::becomeReady() {
    if (failingBoots_ > 0) {
        --failingBoots_;
        failToBoot();
        return;
    }
    const auto took = std::chrono::steady_clock::now() - bootBegan_;
    lastBootDuration_ = std::chrono::duration_cast<std::chrono::milliseconds>(took);
    resetUnderWay_ = false;
    enter(BootState::Ready);
    completeAll(transition_, Result<void>());
    runWaiting();
}

void StateMachine::becomeOff(const Result<void>& reached) {
    enter(BootState::Off);
    completeAll(transition_, reached);
    completeAll(waiting_, offRefusal());
}

void StateMachine::failToBoot() {
    resetUnderWay_ = false;
    bootFailure_ = kBootFailure;
    becomeOff(Refusal::basebandFailed(bootFailure_));
}

bool StateMachine::crash(const std::string& reason) {
    if (!canFail() || bootState_ == BootState::Resetting) {
        return false;
    }
    listener_.crashed(reason);
    enter(BootState::Resetting);
    giveUpModeChange(Refusal::basebandFailed("The baseband has crashed before it had reached its new operating mode."));
    step_.set(kSoftReset, [this] { boot(); });
    return true;
}

bool StateMachine::hang() {
    if (!canFail()) {
        return false;
    }
    hanging_ = true;
    step_.cancel();
    modeChange_.cancel();
    listener_.hung();
    if (changing_ || !waiting_.empty() || !transition_.empty()) {
        losePatience();
    }
    return true;
}

void StateMachine::enter(BootState state) {
    bootState_ = state;
    listener_.bootStateChanged(state);
}

void StateMachine::enter(OperatingMode mode) {
    mode_ = mode;
    listener_.operatingModeChanged(mode);
}

}  // namespace corvane::simulated
