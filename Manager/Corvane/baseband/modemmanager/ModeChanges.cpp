#include "Corvane/baseband/modemmanager/ModeChanges.h"

#include "Corvane/baseband/modemmanager/BusRefusal.h"
#include "Corvane/baseband/modemmanager/ModemNames.h"
#include "Corvane/baseband/modemmanager/ModemStates.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds kPowerLimit = 25s;
/// To enable a modem, ModemManager may wait for the SIM, the network and each of many slow commands.
constexpr std::chrono::seconds kEnableLimit = 180s;
/// ModemManager announces a modem's new state and power shortly before or after it has answered.
constexpr std::chrono::seconds kAnnouncementLimit = 1s;
/// When the caller sets no time-out: a little less than a client waits by default.
constexpr std::chrono::seconds kChangeLimit = 55s;
/// Keeps an absurd time-out from overflowing the clock.
constexpr std::chrono::seconds kLongestLimit = 24h;
constexpr std::size_t kMostChanges = 8;

/// nullptr for a mode that ModemManager doesn't know.
const char* actionOf(OperatingMode mode) {
    switch (mode) {
        case OperatingMode::Online:
            return "go online";
        case OperatingMode::LowPower:
            return "go to low power";
        case OperatingMode::Offline:
            return "go offline";
        default:
            return nullptr;
    }
}

}  // namespace

ModeChanges::ModeChanges(Loop& loop, ModemFollower& follower, ModeWish& wish, Log log)
    : loop_(loop), follower_(follower), wish_(wish), log_(std::move(log)), announcement_(loop) {}

void ModeChanges::request(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion) {
    if (actionOf(mode) == nullptr) {
        completion(Refusal::notSupported(fmt::format(
            "ModemManager can't bring a modem to operating mode {}; 0 (online), 1 (low power) and 3 (offline) are possible.",
            static_cast<int>(mode))));
    } else if (changes_.size() > kMostChanges) {
        completion(Refusal::busy(fmt::format("{} mode changes wait already.", kMostChanges)));
    } else {
        add(mode, timeout > 0s ? std::min(timeout, kLongestLimit) : kChangeLimit, std::move(completion));
    }
}

void ModeChanges::restore() {
    const auto wish = wish_.of(follower_.identity());
    if (!wish || operatingModeOf(*follower_.modem()) == wish || !changes_.empty()) {
        return;
    }
    log_(std::string("The modem hasn't booted since it was asked to ") + actionOf(*wish) + ", so it is to do so again.");
    add(*wish, kChangeLimit, [this](const Result<void>& result) {
        if (!result) {
            log_(result.refusal().sentence);
        }
    });
}

void ModeChanges::add(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion) {
    changes_.push_back(
        {follower_.identity(), follower_.replacements(), mode, std::move(completion), timeout, std::make_unique<Timer>(loop_)});
    Change& added = changes_.back();
    added.timer->set(timeout, [this, &added] { expire(&added); });
    if (changes_.front().completion) {
        beginNext();
    } else {
        end({});
    }
}

void ModeChanges::beginNext() {
    while (!changes_.empty() && !changes_.front().begun) {
        changes_.front().begun = true;
        if (auto present = checkModem(); !present) {
            end(std::move(present));
        } else {
            begin();
        }
    }
}

Result<void> ModeChanges::checkModem() const {
    if (follower_.modem() == nullptr) {
        return follower_.absence();
    }
    if (isForeign()) {
        return Refusal::wrongState("The modem that the mode change was meant for has gone; another one has taken its place.");
    }
    return {};
}

/// The wish is stored before the modem hears of it: if the manager dies meanwhile, what was asked for stands.
void ModeChanges::begin() {
    Change& change = changes_.front();
    change.wishBefore = wish_.of(change.modem);
    wish_.set(change.modem, change.mode);
    if (change.mode == OperatingMode::Online) {
        call(
            "Enable", kEnableLimit, [this] { awaitMode(); }, "b", 1);
    } else if (follower_.modem()->isActive()) {
        call(
            "Enable", kEnableLimit, [this] { setPowerState(); }, "b", 0);
    } else {
        setPowerState();
    }
}

template <typename Argument>
void ModeChanges::call(const char* member, std::chrono::seconds limit, std::function<void()> then, const char* signature,
                       Argument argument) {
    const auto replied = [this, asked = number_, next = std::move(then)](const BusReply& reply) {
        if (asked != number_ || changes_.empty()) {
            return;
        }
        Change& change = changes_.front();
        if (!reply.error) {
            next();
            return;
        }
        if (reply.error->cause == BusError::Cause::Answered) {
            wish_.set(change.modem, change.wishBefore);
        }
        end(refusalFor(*reply.error, kModemInterface, actionOf(change.mode), &follower_));
    };
    follower_.call(kModemInterface, member, limit, replied, signature, argument);
}

void ModeChanges::setPowerState() {
    if (auto present = checkModem(); !present) {
        end(std::move(present));
        return;
    }
    const auto state = changes_.front().mode == OperatingMode::Offline ? MM_MODEM_POWER_STATE_OFF : MM_MODEM_POWER_STATE_LOW;
    call(
        "SetPowerState", kPowerLimit, [this] { awaitMode(); }, "u", std::uint32_t{state});
}

void ModeChanges::awaitMode() {
    changes_.front().carriedOut = true;
    announcement_.set(kAnnouncementLimit, [this] {
        const Modem* modem = follower_.modem();
        end(modem == nullptr
                ? follower_.absence()
                : Refusal::basebandFailed("ModemManager made the modem " + std::string(actionOf(changes_.front().mode)) +
                                          ", but shows it as " + std::string(stateName(modem->number("State"))) +
                                          " with its power " + std::string(powerStateName(modem->number("PowerState"))) + "."));
    });
    modemChanged();
}

void ModeChanges::endForeign() {
    if (!changes_.empty() && isForeign()) {
        end(outcomeUnknown(actionOf(changes_.front().mode), kReplaced));
    }
}

void ModeChanges::modemChanged() {
    const Modem* modem = follower_.modem();
    if (modem != nullptr && !changes_.empty() && changes_.front().carriedOut &&
        operatingModeOf(*modem) == changes_.front().mode) {
        end({});
    }
}

void ModeChanges::expire(const Change* change) {
    const bool isUnderWay = change == &changes_.front();
    const auto expired = std::ranges::find(changes_, change, [](const Change& other) { return &other; });
    const auto completion = std::exchange(expired->completion, nullptr);
    const int mode = static_cast<int>(expired->mode);
    const auto waited = expired->timeout.count();
    std::string sentence = fmt::format("The modem isn't in operating mode {} after {} s; it may still come.", mode, waited);
    if (!isUnderWay) {
        sentence = fmt::format("The change to operating mode {} was dropped after {} s: an earlier one is still under way.", mode,
                               waited);
        changes_.erase(expired);
    } else if (changes_.size() > 1) {
        sentence = fmt::format("The modem isn't in operating mode {} after {} s; the next mode change has taken its place.", mode,
                               waited);
        end({});
    }
    completion(Refusal::timedOut(sentence));
}

void ModeChanges::stop() {
    announcement_.cancel();
    for (Change& change : std::exchange(changes_, {})) {
        if (change.completion) {
            change.completion(Refusal::aborted("The manager stopped before the mode was changed."));
        }
    }
}

void ModeChanges::end(Result<void> result) {
    announcement_.cancel();
    const Change ended = std::move(changes_.front());
    changes_.pop_front();
    ++number_;
    count_ += result && ended.carriedOut ? 1 : 0;
    if (ended.completion) {
        ended.completion(std::move(result));
    } else if (!result) {
        log_(result.refusal().sentence);
    }
    beginNext();
}

}  // namespace corvane::modemmanager
