#include "Corvane/baseband/modemmanager/ModemReset.h"

#include "Corvane/baseband/modemmanager/BusRefusal.h"
#include "Corvane/baseband/modemmanager/ModemStates.h"

#include <fmt/format.h>

#include <utility>

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds kResetLimit = 25s;
constexpr std::chrono::seconds kFactoryResetLimit = 50s;
/// How long after a factory reset a modem may restart by itself, and how long after a broken connection it may leave.
constexpr std::chrono::seconds kLeaveLimit = 10s;
/// For a whole reset: a little less than a client waits by default.
constexpr std::chrono::seconds kWholeLimit = 55s;
/// The service programming code that modems of the QMI kind leave the factory with; those of other kinds ask for none.
constexpr const char* kServiceProgrammingCode = "000000";

}  // namespace

ModemReset::ModemReset(Loop& loop, ModemFollower& follower, std::function<void()> onChange)
    : follower_(follower), onChange_(std::move(onChange)), leave_(loop), limit_(loop) {}

void ModemReset::begin(std::string action, Completion<void> ended) {
    action_ = std::move(action);
    ended_ = std::move(ended);
    path_ = follower_.modem()->path;
    replacements_ = follower_.replacements();
    mayInitialize_ = follower_.modem()->state() > MM_MODEM_STATE_LOCKED;
    phase_ = Phase::Asked;
    limit_.set(kWholeLimit, [this] { end(late()); });
}

void ModemReset::reset(Completion<void> ended) {
    begin("reset", std::move(ended));
    askReset();
}

void ModemReset::askReset() {
    const auto answered = [this, asked = number_](const BusReply& reply) {
        if (asked == number_) {
            replied(reply);
        }
    };
    follower_.call(kModemInterface, "Reset", kResetLimit, answered);
}

void ModemReset::eraseData(Completion<void> ended) {
    begin("put its data back to the factory's", std::move(ended));
    const auto answered = [this, asked = number_](const BusReply& reply) {
        if (asked != number_) {
            return;
        }
        replied(reply);
        if (phase_ == Phase::Accepted) {
            leave_.set(kLeaveLimit, [this] { askReset(); });
        }
    };
    follower_.call(kModemInterface, "FactoryReset", kFactoryResetLimit, answered, "s", kServiceProgrammingCode);
}

void ModemReset::replied(const BusReply& reply) {
    const bool wasAsked = !reply.error || !foundNoModem(*reply.error);
    if (phase_ == Phase::Left && wasAsked) {
        return;
    }
    if (!reply.error) {
        phase_ = Phase::Accepted;
        onChange_();
        return;
    }
    const Refusal refusal = refusalFor(*reply.error, kModemInterface, action_, &follower_);
    if (!connectionBroke(*reply.error)) {
        end(refusal);
        return;
    }
    phase_ = Phase::Accepted;
    leave_.set(kLeaveLimit, [this, refusal] { end(refusal); });
    onChange_();
}

void ModemReset::modemChanged() {
    if (!underWay()) {
        return;
    }
    if (!follower_.isServed()) {
        end(outcomeUnknown(action_, "ModemManager went away"));
        return;
    }
    if (follower_.replacements() != replacements_) {
        end(outcomeUnknown(action_, kReplaced));
        return;
    }
    const Modem* modem = follower_.modem();
    const bool restarted =
        modem != nullptr && phase_ == Phase::Accepted && mayInitialize_ && !modem->isBooted() && !modem->isFailed();
    if (modem == nullptr || modem->path != path_ || restarted) {
        phase_ = Phase::Left;
        leave_.cancel();
    }
    if (phase_ != Phase::Left || modem == nullptr) {
        return;
    }
    if (modem->isFailed()) {
        end(Refusal::basebandFailed("The modem has restarted and came back as " + describe(bootStatusOf(*modem)) + "."));
    } else if (modem->isBooted()) {
        end({});
    }
}

/// Why a whole reset took too long. ModemManager has accepted it, since its own limits are shorter.
Refusal ModemReset::late() const {
    static_assert(kResetLimit < kWholeLimit && kFactoryResetLimit < kWholeLimit);
    const auto waited = kWholeLimit.count();
    if (phase_ != Phase::Left) {
        return Refusal::timedOut(
            fmt::format("ModemManager accepted to make the modem {}, but it hasn't restarted within {} s.", action_, waited));
    }
    return Refusal::timedOut(fmt::format(
        "The modem has left to {} but isn't back within {} s; \"baseband state watch\" shows when it is.", action_, waited));
}

void ModemReset::stop() {
    if (underWay()) {
        end(Refusal::aborted("The manager stopped before the modem could " + action_ + "."));
    }
}

/// The reset is over before its caller hears of it, who may ask for the next at once.
void ModemReset::end(Result<void> result) {
    leave_.cancel();
    limit_.cancel();
    ++number_;
    const auto ended = std::exchange(ended_, nullptr);
    onChange_();
    ended(std::move(result));
}

}  // namespace corvane::modemmanager
