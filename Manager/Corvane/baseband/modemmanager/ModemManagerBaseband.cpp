#include "Corvane/baseband/modemmanager/ModemManagerBaseband.h"

#include "Corvane/baseband/modemmanager/BusRefusal.h"
#include "Corvane/baseband/modemmanager/ModemReport.h"
#include "Corvane/support/Values.h"

#include <memory>
#include <utility>

namespace corvane {
namespace {

using namespace std::chrono_literals;
using modemmanager::BusReply;
using modemmanager::kModemInterface;
using modemmanager::kTimeInterface;
using modemmanager::Modem;
using modemmanager::PowerState;

constexpr std::chrono::seconds kAnswerLimit = 25s;
/// To enable a modem, ModemManager may wait for the SIM, the network and each of many slow commands.
constexpr std::chrono::seconds kEnableLimit = 180s;
/// ModemManager announces a modem's new state shortly after it has answered, or not at all when the state was the same.
constexpr std::chrono::seconds kAnnouncementLimit = 1s;
constexpr std::chrono::seconds kFactoryResetLimit = 50s;
/// When the caller sets no time-out: a little less than a client waits by default.
constexpr std::chrono::seconds kModeLimit = 55s;
/// The service programming code that modems of the QMI kind leave the factory with; those of other kinds ask for none.
constexpr const char* kServiceProgrammingCode = "000000";

struct ModeName {
    OperatingMode mode;
    const char* action;
};
constexpr ModeName kModes[] = {
    {OperatingMode::Online, "go online"},
    {OperatingMode::LowPower, "go to low power"},
    {OperatingMode::Offline, "go offline"},
};

/// nullptr when ModemManager can't bring a modem to `mode`.
const char* actionOf(OperatingMode mode) {
    for (const ModeName& name : kModes) {
        if (name.mode == mode) {
            return name.action;
        }
    }
    return nullptr;
}

}  // namespace

ModemManagerBaseband::ModemManagerBaseband(Loop& loop, std::string modem)
    : loop_(loop),
      follower_(
          loop, std::move(modem), [this] { modemChanged(); }, [this](const std::string& sentence) { log(sentence); }),
      reset_(loop),
      announcement_(loop) {}

void ModemManagerBaseband::start(BasebandListener& listener) {
    listener_ = &listener;
    announcedBootStatus_ = bootStatus();
    follower_.start();
}

void ModemManagerBaseband::stop() {
    listener_ = nullptr;
    for (const ModeChange& waiting : std::exchange(waitingChanges_, {})) {
        waiting.answer->answer(Refusal::aborted("The manager stopped before the mode was changed."));
    }
    announcement_.cancel();
    follower_.stop();
    reset_.stop();
}

void ModemManagerBaseband::getBootState(Completion<BootStatus> completion) {
    completion(bootStatus());
}

void ModemManagerBaseband::getOperatingMode(Completion<OperatingMode> completion) {
    const Modem* modem = follower_.modem();
    completion(modem == nullptr ? Result<OperatingMode>(follower_.absence()) : operatingModeOf(*modem));
}

void ModemManagerBaseband::getVersion(Completion<BasebandVersion> completion) {
    const Modem* modem = follower_.modem();
    completion(BasebandVersion{modem == nullptr ? std::string() : modem->text("Revision")});
}

void ModemManagerBaseband::setOperatingMode(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion) {
    const std::string number = std::to_string(static_cast<int>(mode));
    if (actionOf(mode) == nullptr) {
        completion(Refusal::notSupported("ModemManager can't bring a modem to operating mode " + number +
                                         "; 0 (online), 1 (low power) and 3 (offline) are possible."));
        return;
    }
    const std::chrono::seconds limit = timeout > 0s ? timeout : kModeLimit;
    auto answer = std::make_shared<PendingAnswer>(
        std::move(completion), loop_, limit,
        "The modem isn't in operating mode " + number + " after " + std::to_string(limit.count()) + " s; it may still come.");
    waitingChanges_.push_back({mode, std::move(answer)});
    changeModes();
}

void ModemManagerBaseband::changeModes() {
    while (!change_ && !waitingChanges_.empty()) {
        ModeChange next = std::move(waitingChanges_.front());
        waitingChanges_.pop_front();
        if (next.answer->answered()) {
            continue;  // its time passed while it waited
        }
        change_ = std::move(next);
        const Modem* modem = follower_.modem();
        if (modem == nullptr) {
            endModeChange(follower_.absence());
        } else if (change_->mode == OperatingMode::Online) {
            enable(true, [this] { awaitMode({}); });
        } else {
            const PowerState power = change_->mode == OperatingMode::Offline ? PowerState::Off : PowerState::Low;
            if (isActive(*modem)) {
                enable(false, [this, power] { setPowerState(power); });
            } else {
                setPowerState(power);
            }
        }
    }
}

void ModemManagerBaseband::enable(bool on, std::function<void()> then) {
    const auto replied = [this, next = std::move(then)](const BusReply& reply) {
        if (reply.error) {
            endModeChange(refused(*reply.error, actionOf(change_->mode)));
        } else {
            next();
        }
    };
    follower_.call(kModemInterface, "Enable", kEnableLimit, replied, "b", on ? 1 : 0);
}

void ModemManagerBaseband::setPowerState(PowerState state) {
    const Modem* modem = follower_.modem();
    if (modem == nullptr) {
        endModeChange(follower_.absence());
        return;
    }
    const auto replied = [this, state, path = modem->path](const BusReply& reply) {
        if (reply.error) {
            endModeChange(refused(*reply.error, actionOf(change_->mode)));
        } else {
            awaitMode([this, state, path] {
                follower_.note(path, kModemInterface, "PowerState", number(static_cast<std::int64_t>(state)));
            });
        }
    };
    follower_.call(kModemInterface, "SetPowerState", kAnswerLimit, replied, "u", static_cast<std::uint32_t>(state));
}

void ModemManagerBaseband::awaitMode(std::function<void()> otherwise) {
    awaited_ = true;
    announcement_.set(kAnnouncementLimit, [this, then = std::move(otherwise)] {
        awaited_ = false;
        if (then) {
            then();
        }
        endModeChange({});
    });
    endAwaitedChange();
}

void ModemManagerBaseband::endAwaitedChange() {
    const Modem* modem = follower_.modem();
    if (awaited_ && modem != nullptr && modemmanager::operatingModeOf(*modem) == change_->mode) {
        endModeChange({});
    }
}

void ModemManagerBaseband::endModeChange(const Result<void>& result) {
    awaited_ = false;
    announcement_.cancel();
    const ModeChange ended = *std::exchange(change_, {});
    if (result) {
        ++modeChanges_;
    } else {
        log(result.refusal().sentence);
    }
    ended.answer->answer(result);
    changeModes();
}

void ModemManagerBaseband::getTime(Completion<BasebandTime> completion) {
    const Modem* modem = follower_.modem();
    if (modem == nullptr) {
        completion(follower_.absence());
        return;
    }
    const char* action = "tell the time";
    if (!modem->has(kTimeInterface)) {
        const std::string obstacle = obstacleOf(*modem);
        completion(Refusal::notSupported(
            "The modem can't tell the time: " + (obstacle.empty() ? "ModemManager knows no clock of it" : obstacle) + "."));
        return;
    }
    const auto replied = [this, action, done = std::move(completion)](const BusReply& reply) {
        if (reply.error) {
            done(refused(*reply.error, action));
            return;
        }
        const xpc::Object time = reply.argument(0);
        done(BasebandTime{time.is(XPC_TYPE_STRING) ? xpc_string_get_string_ptr(time.get()) : ""});
    };
    follower_.call(kTimeInterface, "GetNetworkTime", kAnswerLimit, replied);
}

void ModemManagerBaseband::reset(const ResetRequest& request, Completion<void> completion) {
    if (request.type == ResetType::Hard) {
        completion(
            Refusal::notSupported("A modem behind ModemManager has no hard reset: its supply isn't the manager's to switch; a "
                                  "soft reset is possible."));
        return;
    }
    const Modem* modem = follower_.modem();
    if (modem == nullptr || reset_.underWay()) {
        completion(reset_.underWay() ? Refusal::busy("The modem is being reset already.") : follower_.absence());
        return;
    }
    log("Soft reset of the modem (" + request.subType + "): " + request.reason);
    reset_.begin(modem->path, [this, done = std::move(completion)](const Result<void>& result) {
        softResets_ += result ? 1 : 0;
        announce();
        done(result);
    });
    const auto replied = [this](const BusReply& reply) {
        const Result<void> result = reply.error ? Result<void>(refused(*reply.error, "reset")) : Result<void>();
        reset_.replied(result, reply.error && modemmanager::mayHaveLeft(*reply.error));
        announce();
    };
    follower_.call(kModemInterface, "Reset", kAnswerLimit, replied);
}

void ModemManagerBaseband::eraseNVData(Completion<void> completion) {
    if (follower_.modem() == nullptr) {
        completion(follower_.absence());
        return;
    }
    log("Factory reset of the modem.");
    const auto replied = [this, done = std::move(completion)](const BusReply& reply) {
        done(reply.error ? Result<void>(refused(*reply.error, "put its data back to the factory's")) : Result<void>());
    };
    follower_.call(kModemInterface, "FactoryReset", kFactoryResetLimit, replied, "s", kServiceProgrammingCode);
}

void ModemManagerBaseband::getStatistics(Completion<xpc::Object> completion) {
    const Modem* modem = follower_.modem();
    xpc::Object statistics = modem == nullptr ? dictionary({}) : modemStatistics(*modem);
    const auto set = [&](const char* key, const xpc::Object& value) {
        xpc_dictionary_set_value(statistics.get(), key, value.get());
    };
    set("Boots", number(boots_));
    set("SoftResets", number(softResets_));
    set("ModeChanges", number(modeChanges_));
    if (const std::string& version = follower_.managerVersion(); !version.empty()) {
        set("ModemManagerVersion", text(version));
    }
    completion(statistics);
}

void ModemManagerBaseband::collectSnapshot(Completion<SnapshotFiles> completion) {
    collectModemSnapshot(follower_, std::move(completion));
}

BootStatus ModemManagerBaseband::bootStatus() const {
    if (reset_.resetting()) {
        return {BootState::Resetting};
    }
    const Modem* modem = follower_.modem();
    return modem == nullptr ? BootStatus{} : bootStatusOf(*modem);
}

void ModemManagerBaseband::modemChanged() {
    reset_.modemChanged(follower_.modem());
    announce();
    endAwaitedChange();
}

void ModemManagerBaseband::announce() {
    if (listener_ == nullptr) {
        return;
    }
    const Modem* modem = follower_.modem();
    if (const auto state = modem == nullptr ? std::string_view() : modemmanager::stateName(modem->number("State"));
        state != loggedState_) {
        loggedState_ = state;
        if (modem != nullptr) {
            log("Modem state: " + std::string(state));
        }
    }
    if (const BootStatus status = bootStatus(); status != announcedBootStatus_) {
        announcedBootStatus_ = status;
        boots_ += status.state == BootState::Ready ? 1 : 0;
        log("Boot state: " + describe(status));
        listener_->bootStateChanged(status);
    }
    const auto mode = modem == nullptr ? std::nullopt : std::optional(operatingModeOf(*modem));
    if (mode != announcedMode_) {
        announcedMode_ = mode;
        if (mode) {
            log("Operating mode: " + std::to_string(static_cast<int>(*mode)));
            listener_->operatingModeChanged(*mode);
        }
    }
}

void ModemManagerBaseband::log(const std::string& sentence) {
    if (listener_ != nullptr) {
        listener_->basebandLog(sentence);
    }
}

Refusal ModemManagerBaseband::refused(const modemmanager::BusError& error, std::string_view action) const {
    const Modem* modem = follower_.modem();
    return refusalFor(error, action, modem == nullptr ? std::string() : obstacleOf(*modem));
}

}  // namespace corvane
