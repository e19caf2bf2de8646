#include "Corvane/baseband/simulated/diag/DiagSource.h"

#include "Corvane/support/Values.h"

namespace corvane::simulated {
namespace {

constexpr std::chrono::milliseconds kSecond{1000};
constexpr std::chrono::milliseconds kTenth{100};
/// A ready baseband is never silent for longer.
constexpr unsigned kHeartbeatEvery = 5;  // seconds

}  // namespace

void DiagSource::configure(const DiagSettings& settings) {
    port_.configure(settings);
    schedule();
}

void DiagSource::drain() {
    signalling_.finish();
    port_.drain();
}

void DiagSource::setMeasuring(bool on) {
    measuring_ = on;
    schedule();
}

void DiagSource::resetBegins(const ResetRequest& request) {
    if (request.type == ResetType::Soft) {
        signalling_.goOffline(true);
        signalling_.finish();
        signalling_.log("BOOT", "soft reset: " + request.reason);
    } else {
        signalling_.log("BOOT", "power cycle: " + request.reason, gsmtap::Level::Error);
    }
    port_.drain();
}

void DiagSource::crashed(const std::string& reason) {
    signalling_.log("BOOT", "crash: " + reason, gsmtap::Level::Error);
    port_.drain();
}

void DiagSource::hung() {
    ready_ = false;
    signalling_.abandon();
    schedule();
}

void DiagSource::setSimPresent(bool present) {
    if (ready_) {
        signalling_.logSim(present);
    }
    signalling_.setSimPresent(present);
}

void DiagSource::fade(int rsrpDbm, int seconds) {
    signalling_.fade(rsrpDbm, seconds);
    schedule();
}

xpc::Object DiagSource::service() const {
    xpc::Object service = dictionary(
        {{"SIM", text(signalling_.isSimPresent() ? "ready" : "missing")}, {"Registration", text(signalling_.registration())}});
    if (signalling_.isRegistered()) {
        xpc::set(service, "RSRP", number(signalling_.signal().rsrpDbm()));
    }
    return service;
}

void DiagSource::bootStateChanged(const BootStatus& status, std::chrono::milliseconds bootDuration) {
    ready_ = status.state == BootState::Ready;
    switch (status.state) {
        case BootState::Booting:
            signalling_.log("BOOT", "images are verified, subsystems start");
            signalling_.log("RF", "front end calibrated for bands 3, 7 and 20", gsmtap::Level::Info);
            signalling_.logSim(signalling_.isSimPresent());
            break;
        case BootState::Ready:
            signalling_.log("BOOT", "ready after " + std::to_string(bootDuration.count()) + " ms");
            break;
        case BootState::Resetting:
        case BootState::Off:
            signalling_.abandon();
            signalling_.log("BOOT", status.state == BootState::Resetting ? "subsystems stop"
                                    : status.failure.empty()             ? "power is off"
                                                                         : "boot failed: power is off");
            break;
    }
    schedule();
}

void DiagSource::operatingModeChanged(OperatingMode mode) {
    signalling_.finish();
    signalling_.log("MODE", "operating mode " + describe(mode));
    if (mode == OperatingMode::Online) {
        signalling_.goOnline();
    } else {
        signalling_.goOffline(mode == OperatingMode::ShuttingDown);
    }
}

void DiagSource::powerNotification(const char* what, bool asleep) {
    signalling_.log("PM", std::string("application processor: ") + what, gsmtap::Level::Info);
    port_.setAsleep(asleep);
    schedule();
}

void DiagSource::schedule() {
    const bool isHeard = ready_ && (port_.isOn() || measuring_);
    if (!isHeard && !signalling_.signal().isFading()) {
        second_.cancel();
    } else if (!second_.isSet()) {
        second_.set(kSecond, [this] { everySecond(); });
    }
    if (!ready_ || !port_.wants(DiagGroup::Throughput)) {
        tenth_.cancel();
    } else if (!tenth_.isSet()) {
        tenth_.set(kTenth, [this] { everyTenth(); });
    }
}

void DiagSource::everySecond() {
    if (ready_ && ++uptime_ % kHeartbeatEvery == 0) {
        signalling_.log("SYS", "alive for " + std::to_string(uptime_) + " s", gsmtap::Level::Debug);
    }
    signalling_.second();
    if (ready_ && measuring_) {
        onRecord_({ryn::trace::Type::TEMS, std::chrono::system_clock::now(), signalling_.measurement()});
    }
    schedule();
}

void DiagSource::everyTenth() {
    signalling_.throughput();
    schedule();
}

}  // namespace corvane::simulated
