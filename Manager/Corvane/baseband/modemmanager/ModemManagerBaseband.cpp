#include "Corvane/baseband/modemmanager/ModemManagerBaseband.h"

#include "Corvane/baseband/modemmanager/BusRefusal.h"
#include "Corvane/baseband/modemmanager/ModemNames.h"
#include "Corvane/baseband/modemmanager/ModemReport.h"
#include "Corvane/baseband/modemmanager/ModemStates.h"
#include "Corvane/support/Values.h"

#include <fmt/format.h>

#include <utility>

namespace corvane {
namespace {

using namespace std::chrono_literals;
using modemmanager::BusReply;
using modemmanager::kTimeInterface;
using modemmanager::Modem;

constexpr std::chrono::seconds kTimeLimit = 25s;

}  // namespace

ModemManagerBaseband::ModemManagerBaseband(Loop& loop, SettingsStore& store, std::string modem)
    : wish_(store, log_),
      follower_(
          loop, std::move(modem), [this] { modemChanged(); }, log_),
      reset_(loop, follower_, [this] { announce(); }),
      modeChanges_(loop, follower_, wish_, log_),
      signal_(loop, follower_),
      measurements_(loop, follower_, signal_, record_, log_),
      messageLog_(loop, follower_, record_, log_) {}

void ModemManagerBaseband::start(BasebandListener& listener) {
    listener_ = &listener;
    follower_.setOnEnding([this] { stopTraces(); });
    measurements_.start();
    messageLog_.start();
    follower_.start();
}

void ModemManagerBaseband::stop() {
    listener_ = &nobody;
    modeChanges_.stop();
    stopTraces();
    reset_.stop();
    follower_.stop();
}

void ModemManagerBaseband::stopTraces() {
    measurements_.stop();
    messageLog_.stop();
    signal_.stop();
}

void ModemManagerBaseband::getOperatingMode(Completion<OperatingMode> completion) {
    const Modem* modem = follower_.modem();
    if (modem == nullptr) {
        completion(follower_.absence());
    } else if (const auto mode = operatingModeOf(*modem)) {
        completion(*mode);
    } else {
        completion(Refusal::wrongState(fmt::format(
            "The modem is in no operating mode: ModemManager shows it as {} with its power {}.",
            modemmanager::stateName(modem->number("State")), modemmanager::powerStateName(modem->number("PowerState")))));
    }
}

void ModemManagerBaseband::getVersion(Completion<BasebandVersion> completion) {
    const Modem* modem = follower_.modem();
    completion(BasebandVersion{modem == nullptr ? std::string() : modem->text("Revision")});
}

void ModemManagerBaseband::getTime(Completion<BasebandTime> completion) {
    const Modem* modem = follower_.modem();
    if (modem == nullptr) {
        completion(follower_.absence());
        return;
    }
    if (!modem->has(kTimeInterface)) {
        const std::string obstacle = obstacleOf(*modem);
        completion(Refusal::notSupported(
            "The modem can't tell the time: " + (obstacle.empty() ? "ModemManager knows no clock of it" : obstacle) + "."));
        return;
    }
    const auto replied = [this, done = std::move(completion)](const BusReply& reply) {
        if (reply.error) {
            done(refusalFor(*reply.error, kTimeInterface, "tell the time", &follower_));
            return;
        }
        const xpc::Object time = reply.argument(0);
        done(BasebandTime{time.is(XPC_TYPE_STRING) ? xpc_string_get_string_ptr(time.get()) : ""});
    };
    follower_.call(kTimeInterface, "GetNetworkTime", kTimeLimit, replied);
}

void ModemManagerBaseband::setOperatingMode(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion) {
    modeChanges_.request(mode, timeout, std::move(completion));
}

Result<void> ModemManagerBaseband::checkReset() const {
    if (reset_.underWay()) {
        return Refusal::busy("The modem is being reset already.");
    }
    return follower_.modem() == nullptr ? follower_.absence() : Result<void>();
}

void ModemManagerBaseband::reset(const ResetRequest& request, Completion<void> completion) {
    if (request.type == ResetType::Hard) {
        completion(
            Refusal::notSupported("A modem behind ModemManager has no hard reset: its supply isn't the manager's to switch; a "
                                  "soft reset is possible."));
    } else if (auto possible = checkReset(); !possible) {
        completion(std::move(possible));
    } else {
        log_("Soft reset of the modem (" + request.subType + "): " + request.reason);
        reset_.reset([this, done = std::move(completion)](Result<void> result) {
            softResets_ += result ? 1 : 0;
            done(std::move(result));
        });
    }
}

void ModemManagerBaseband::eraseNVData(Completion<void> completion) {
    if (auto possible = checkReset(); !possible) {
        completion(std::move(possible));
    } else {
        log_("Factory reset of the modem.");
        reset_.eraseData(std::move(completion));
    }
}

void ModemManagerBaseband::getStatistics(Completion<xpc::Object> completion) {
    signal_.measure([this, done = std::move(completion)] { done(statistics()); });
}

xpc::Object ModemManagerBaseband::statistics() const {
    const Modem* modem = follower_.modem();
    xpc::Object figures = modem == nullptr ? dictionary({}) : modemStatistics(*modem);
    xpc::set(figures, "Boots", number(boots_));
    xpc::set(figures, "SoftResets", number(softResets_));
    xpc::set(figures, "ModeChanges", number(modeChanges_.count()));
    if (const std::string& version = follower_.managerVersion(); !version.empty()) {
        xpc::set(figures, "ModemManagerVersion", text(version));
    }
    if (const auto silence = follower_.silence()) {
        xpc::set(figures, "ModemManagerSilentSeconds", number(silence->count()));
    }
    return figures;
}

bool ModemManagerBaseband::canRecord(ryn::trace::Type trace) const {
    return trace == ryn::trace::Type::TEMS || trace == ryn::trace::Type::BasebandIPC;
}

void ModemManagerBaseband::switchTrace(ryn::trace::Type trace, bool on, Completion<void> completion) {
    modemmanager::ModemTrace& recorded =
        trace == ryn::trace::Type::TEMS ? static_cast<modemmanager::ModemTrace&>(measurements_) : messageLog_;
    if (on) {
        recorded.switchOn(std::move(completion));
    } else {
        recorded.switchOff();
        completion({});
    }
}

void ModemManagerBaseband::collectSnapshot(Completion<SnapshotFiles> completion) {
    messageLog_.read();
    collectModemSnapshot(follower_, std::move(completion));
}

BootStatus ModemManagerBaseband::bootStatus() const {
    if (reset_.resetting()) {
        return {BootState::Resetting};
    }
    const Modem* modem = follower_.modem();
    BootStatus status = modem == nullptr ? BootStatus{} : bootStatusOf(*modem);
    status.wantedMode = wish_.of(follower_.identity());
    return status;
}

void ModemManagerBaseband::modemChanged() {
    countBoots();
    modeChanges_.endForeign();
    reset_.modemChanged();
    announce();
    modeChanges_.modemChanged();
    signal_.modemChanged();
    measurements_.modemChanged();
    messageLog_.modemChanged();
}

/// A modem that has booted is in no mode that anybody asked for.
void ModemManagerBaseband::countBoots() {
    if (follower_.boots() != std::exchange(seenBoots_, follower_.boots())) {
        booting_ = true;
        wish_.set(follower_.identity(), std::nullopt);
    }
}

void ModemManagerBaseband::announce() {
    if (listener_ == &nobody) {
        return;
    }
    const Modem* modem = follower_.modem();
    const auto state = modem == nullptr ? std::string_view() : modemmanager::stateName(modem->number("State"));
    if (std::exchange(loggedState_, state) != state && modem != nullptr) {
        log_("Modem state: " + std::string(state));
    }
    const bool isAnother = follower_.replacements() != std::exchange(announcedReplacements_, follower_.replacements());
    announceBootState(isAnother);
    announceMode(isAnother);
}

void ModemManagerBaseband::announceBootState(bool isAnother) {
    const BootStatus status = bootStatus();
    if (describe(status) == describe(std::exchange(announcedBootStatus_, status)) && !isAnother) {
        return;
    }
    const bool isReady = status.state == BootState::Ready;
    if (isReady && std::exchange(booting_, false)) {
        ++boots_;
    }
    log_("Boot state: " + describe(status));
    listener_->bootStateChanged(status);
    if (isReady) {
        modeChanges_.restore();
    }
}

void ModemManagerBaseband::announceMode(bool isAnother) {
    const Modem* modem = follower_.modem();
    const auto mode = modem == nullptr ? std::nullopt : operatingModeOf(*modem);
    if (mode != std::exchange(announcedMode_, mode) && mode) {
        log_(fmt::format("Operating mode: {}", static_cast<int>(*mode)));
        if (mode == OperatingMode::Online && !modeChanges_.underWay() && !isAnother) {
            wish_.set(follower_.identity(), mode);  // somebody else has asked ModemManager for it
        }
        listener_->operatingModeChanged(*mode);
    }
}

}  // namespace corvane
