#include "Corvane/baseband/modemmanager/ModemSignal.h"

#include "Corvane/baseband/modemmanager/ModemStates.h"

#include <utility>

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kSecondsBetweenMeasurements = 5;
constexpr std::chrono::seconds kFirstMeasurementLimit = 1s;
/// How long after the last question ModemManager goes on measuring.
constexpr std::chrono::seconds kIdleLimit = 60s;

}  // namespace

void ModemSignal::measure(std::function<void()> then) {
    const Modem* modem = follower_.modem();
    const bool canMeasure = modem != nullptr && modem->has(kSignalInterface) && isActive(*modem);
    if (canMeasure && modem->path == path_) {
        idle_.set(kIdleLimit, [this] { switchOff(); });
    }
    if (!canMeasure || isMeasured() || modem->path == path_) {
        then();
        return;
    }
    waiting_.push_back(std::move(then));
    if (waiting_.size() == 1) {
        wait_.set(kFirstMeasurementLimit, [this] { finish(); });
        switchOn();
    }
}

/// Leaves a rate alone that somebody else has set.
void ModemSignal::switchOn() {
    const Modem& modem = *follower_.modem();
    if (xpc_int64_get_value(modem.property(kSignalInterface, "Rate").get()) != 0) {
        return;
    }
    const auto answered = [this, path = modem.path](const BusReply& reply) {
        if (reply.error) {
            finish();
            return;
        }
        path_ = path;
        idle_.set(kIdleLimit, [this] { switchOff(); });
    };
    follower_.call(kSignalInterface, "Setup", kAnswerLimit, answered, "u", kSecondsBetweenMeasurements);
}

void ModemSignal::switchOff() {
    const std::string path = std::exchange(path_, {});
    if (follower_.modem() != nullptr && follower_.modem()->path == path) {
        follower_.call(
            kSignalInterface, "Setup", kAnswerLimit, [](const BusReply&) {}, "u", std::uint32_t{0});
    }
}

bool ModemSignal::isMeasured() const {
    const Modem* modem = follower_.modem();
    for (const char* technology : {"Lte", "Nr5g", "Umts", "Gsm", "Evdo", "Cdma"}) {
        if (modem != nullptr && xpc_dictionary_get_count(modem->property(kSignalInterface, technology).get()) > 0) {
            return true;
        }
    }
    return false;
}

void ModemSignal::modemChanged() {
    if (!waiting_.empty() && (follower_.modem() == nullptr || isMeasured())) {
        finish();
    }
}

void ModemSignal::stop() {
    idle_.cancel();
    finish();
}

void ModemSignal::finish() {
    wait_.cancel();
    for (const auto& then : std::exchange(waiting_, {})) {
        then();
    }
}

}  // namespace corvane::modemmanager
