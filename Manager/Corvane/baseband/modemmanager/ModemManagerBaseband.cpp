#include "Corvane/baseband/modemmanager/ModemManagerBaseband.h"

#include "Corvane/baseband/modemmanager/BusRefusal.h"
#include "Corvane/baseband/modemmanager/ModemReport.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

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

Answer refuse(ResultCode code, std::string sentence) {
    return {Refusal{code, std::move(sentence)}, {}};
}

struct ModeName {
    OperatingMode mode;
    const char* action;
};
constexpr ModeName kModes[] = {
    {OperatingMode::Online, "go online"},
    {OperatingMode::LowPower, "go to low power"},
    {OperatingMode::Offline, "go offline"},
};

const ModeName* findMode(std::int64_t number) {
    for (const ModeName& name : kModes) {
        if (static_cast<std::int64_t>(name.mode) == number) {
            return &name;
        }
    }
    return nullptr;
}

std::string_view actionOf(OperatingMode mode) {
    return findMode(static_cast<std::int64_t>(mode))->action;
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
    announcedBootState_ = bootState();
    follower_.start();
}

void ModemManagerBaseband::stop() {
    listener_ = nullptr;
    for (const ModeChange& waiting : std::exchange(waitingChanges_, {})) {
        waiting.answer->refuse(ResultCode::Aborted, "The manager stopped before the mode was changed.");
    }
    announcement_.cancel();
    follower_.stop();
    reset_.stop();
}

void ModemManagerBaseband::getVersion(Completion completion) {
    const Modem* modem = follower_.modem();
    const std::string revision = modem == nullptr ? std::string() : modem->text("Revision");
    completion({{}, revision.empty() ? dictionary({}) : dictionary({{ryn::kKeyBasebandVersion, text(revision)}})});
}

void ModemManagerBaseband::getBootState(Completion completion) {
    xpc::Object reply = dictionary({{ryn::kKeyBasebandBootState, text(bootState())}});
    if (const Modem* modem = follower_.modem(); modem != nullptr && isFailed(*modem)) {
        xpc_dictionary_set_value(reply.get(), ryn::kKeyErrorString, text(obstacleOf(*modem) + ".").get());
    }
    completion({{}, reply});
}

void ModemManagerBaseband::getOperatingMode(Completion completion) {
    const Modem* modem = follower_.modem();
    if (modem == nullptr) {
        completion({follower_.absence(), {}});
        return;
    }
    const auto mode = static_cast<std::int64_t>(operatingModeOf(*modem));
    completion({{}, dictionary({{ryn::kKeyBasebandOperatingMode, number(mode)}})});
}

void ModemManagerBaseband::setOperatingMode(std::int64_t mode, std::chrono::seconds timeout, Completion completion) {
    if (findMode(mode) == nullptr) {
        completion(refuse(ResultCode::NotSupported, "ModemManager can't bring a modem to operating mode " + std::to_string(mode) +
                                                        "; 0 (online), 1 (low power) and 3 (offline) are possible."));
        return;
    }
    const std::chrono::seconds limit = timeout > 0s ? timeout : kModeLimit;
    auto answer = std::make_shared<PendingAnswer>(std::move(completion), loop_, limit,
                                                  "The modem isn't in operating mode " + std::to_string(mode) + " after " +
                                                      std::to_string(limit.count()) + " s; it may still come.");
    waitingChanges_.push_back({static_cast<OperatingMode>(mode), std::move(answer)});
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
            endModeChange({follower_.absence(), {}});
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
        endModeChange({follower_.absence(), {}});
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

void ModemManagerBaseband::endModeChange(Answer answer) {
    awaited_ = false;
    announcement_.cancel();
    const ModeChange ended = *std::exchange(change_, {});
    if (answer.refusal) {
        log(answer.refusal->sentence);
    } else {
        ++modeChanges_;
    }
    ended.answer->answer(std::move(answer));
    changeModes();
}

void ModemManagerBaseband::getTime(Completion completion) {
    const Modem* modem = follower_.modem();
    if (modem == nullptr) {
        completion({follower_.absence(), {}});
        return;
    }
    const char* action = "tell the time";
    if (!modem->has(kTimeInterface)) {
        const std::string obstacle = obstacleOf(*modem);
        completion(refuse(
            ResultCode::NotSupported,
            "The modem can't tell the time: " + (obstacle.empty() ? "ModemManager knows no clock of it" : obstacle) + "."));
        return;
    }
    const auto replied = [this, action, done = std::move(completion)](const BusReply& reply) {
        done(reply.error ? refused(*reply.error, action)
                         : Answer{{}, dictionary({{ryn::kKeyBasebandTimeAsString, reply.argument(0)}})});
    };
    follower_.call(kTimeInterface, "GetNetworkTime", kAnswerLimit, replied);
}

void ModemManagerBaseband::reset(const ResetRequest& request, Completion completion) {
    if (request.type == ResetType::Hard) {
        completion(refuse(ResultCode::NotSupported,
                          "A modem behind ModemManager has no hard reset: its supply isn't the manager's to switch; a soft reset "
                          "is possible."));
        return;
    }
    const Modem* modem = follower_.modem();
    if (modem == nullptr || reset_.underWay()) {
        completion(
            {reset_.underWay() ? Refusal{ResultCode::Busy, "The modem is being reset already."} : follower_.absence(), {}});
        return;
    }
    log("Soft reset of the modem (" + request.subType + "): " + request.reason);
    reset_.begin(modem->path, [this, done = std::move(completion)](const Answer& answer) {
        softResets_ += answer.refusal ? 0 : 1;
        announce();
        done(answer);
    });
    const auto replied = [this](const BusReply& reply) {
        const auto failure = reply.error ? refused(*reply.error, "reset").refusal : std::nullopt;
        reset_.replied(failure, reply.error && modemmanager::mayHaveLeft(*reply.error));
        announce();
    };
    follower_.call(kModemInterface, "Reset", kAnswerLimit, replied);
}

void ModemManagerBaseband::eraseNVData(Completion completion) {
    if (follower_.modem() == nullptr) {
        completion({follower_.absence(), {}});
        return;
    }
    log("Factory reset of the modem.");
    const auto replied = [this, done = std::move(completion)](const BusReply& reply) {
        done(reply.error ? refused(*reply.error, "put its data back to the factory's") : Answer{});
    };
    follower_.call(kModemInterface, "FactoryReset", kFactoryResetLimit, replied, "s", kServiceProgrammingCode);
}

void ModemManagerBaseband::getWakeReason(Completion completion) {
    completion(refuse(ResultCode::NotSupported, "ModemManager doesn't tell what woke the application processor."));
}

void ModemManagerBaseband::syncFileSystem(bool, Completion completion) {
    completion(refuse(ResultCode::NotSupported,
                      "A modem behind ModemManager keeps its own data; there is no remote filesystem to sync."));
}

void ModemManagerBaseband::controlPowerLog(PowerLog, PowerLogAction, Completion completion) {
    completion(refuse(ResultCode::NotSupported, "ModemManager has no power logs."));
}

void ModemManagerBaseband::simulatePowerNotification(std::uint32_t, Completion completion) {
    completion(refuse(ResultCode::NotSupported, "ModemManager takes no power notifications."));
}

void ModemManagerBaseband::runDiagnostics(const std::string&, const xpc::Object&, Completion completion) {
    completion(refuse(ResultCode::NotSupported, "ModemManager has no RF self-test."));
}

void ModemManagerBaseband::abortDiagnostics(Completion completion) {
    completion(refuse(ResultCode::NotSupported, "ModemManager has no RF self-test, so none is running."));
}

void ModemManagerBaseband::getStatistics(Completion completion) {
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
    completion({{}, statistics});
}

void ModemManagerBaseband::collectSnapshot(SnapshotCompletion completion) {
    collectModemSnapshot(follower_, std::move(completion));
}

std::string ModemManagerBaseband::bootState() const {
    if (reset_.resetting()) {
        return "Resetting";
    }
    const Modem* modem = follower_.modem();
    return modem == nullptr ? "Off" : bootStateOf(*modem);
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
    if (const std::string state = bootState(); state != announcedBootState_) {
        announcedBootState_ = state;
        boots_ += state == "Ready" ? 1 : 0;
        log("Boot state: " + state);
        getBootState([this](const Answer& now) { listener_->basebandEvent(ryn::kEventBasebandBootStateChange, now.reply); });
    }
    const auto mode = modem == nullptr ? std::nullopt : std::optional(operatingModeOf(*modem));
    if (mode != announcedMode_) {
        announcedMode_ = mode;
        if (mode) {
            log("Operating mode: " + std::to_string(static_cast<int>(*mode)));
            getOperatingMode(
                [this](const Answer& now) { listener_->basebandEvent(ryn::kEventBasebandOperatingModeChange, now.reply); });
        }
    }
}

void ModemManagerBaseband::log(const std::string& sentence) {
    if (listener_ != nullptr) {
        listener_->basebandLog(sentence);
    }
}

Answer ModemManagerBaseband::refused(const modemmanager::BusError& error, std::string_view action) const {
    const Modem* modem = follower_.modem();
    return {refusalFor(error, action, modem == nullptr ? std::string() : obstacleOf(*modem)), {}};
}

}  // namespace corvane
