#include "Corvane/baseband/modemmanager/ModemSignal.h"

#include "Corvane/baseband/modemmanager/BusRefusal.h"

#include <utility>

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;

/// Between the measurements that a question asks for.
constexpr std::uint32_t kSecondsOfQuestion = 5;
constexpr std::chrono::seconds kFirstMeasurementLimit = 1s;
/// How long after the last question ModemManager goes on measuring.
constexpr std::chrono::seconds kIdleLimit = 60s;

constexpr std::pair<const char*, std::string_view> kTechnologies[] = {{"Lte", "LTE"}, {"Nr5g", "5G"},   {"Umts", "UMTS"},
                                                                      {"Gsm", "GSM"}, {"Evdo", "EVDO"}, {"Cdma", "CDMA"}};

}  // namespace

SignalFigures signalOf(const Modem& modem) {
    for (const auto& [property, technology] : kTechnologies) {
        if (xpc::Object figures = modem.property(kSignalInterface, property); xpc_dictionary_get_count(figures.get()) > 0) {
            return {technology, std::move(figures)};
        }
    }
    return {};
}

void ModemSignal::measure(std::function<void()> then) {
    const Modem* modem = follower_.modem();
    if (modem == nullptr || !modem->has(kSignalInterface) || !modem->isActive()) {
        then();
        return;
    }
    asked_.set(kIdleLimit, [this] { setRate([](const Result<void>&) {}); });
    if (isMeasured()) {
        then();
        return;
    }
    waiting_.push_back(std::move(then));
    setRate([](const Result<void>&) {});
    if (!first_.isSet()) {
        finish();
    }
}

void ModemSignal::measureEverySecond(bool on, Completion<void> done) {
    everySecond_ = on;
    setRate(std::move(done));
}

/// A question leaves a rate alone that somebody else has set.
std::uint32_t ModemSignal::wantedSeconds() const {
    if (everySecond_) {
        return 1;
    }
    return foreignSeconds_ == 0 && asked_.isSet() ? kSecondsOfQuestion : foreignSeconds_;
}

void ModemSignal::setRate(Completion<void> done) {
    const Modem* modem = follower_.modem();
    if (modem == nullptr || !modem->has(kSignalInterface)) {
        done({});
        return;
    }
    if (modem->path != std::exchange(path_, modem->path)) {
        foreignSeconds_ = static_cast<std::uint32_t>(xpc_int64_get_value(modem->property(kSignalInterface, "Rate").get()));
        seconds_ = setSeconds_ = foreignSeconds_;
    }
    const std::uint32_t wanted = wantedSeconds();
    if (wanted == seconds_) {
        done({});
        return;
    }
    if (std::exchange(seconds_, wanted) == 0) {
        first_.set(kFirstMeasurementLimit, [this] { finish(); });
    }
    const auto answered = [this, path = path_, wanted, done = std::move(done)](const BusReply& reply) {
        if (path == path_) {
            rateAnswered(wanted, !reply.error);
        }
        done(reply.error ? refusalFor(*reply.error, kSignalInterface, "have its signal measured", &follower_) : Result<void>());
    };
    follower_.call(kSignalInterface, "Setup", kAnswerLimit, answered, "u", wanted);
}

void ModemSignal::rateAnswered(std::uint32_t wanted, bool isSet) {
    if (isSet) {
        setSeconds_ = wanted;
    } else if (seconds_ == wanted) {
        seconds_ = setSeconds_;
        finish();
    }
}

bool ModemSignal::isMeasured() const {
    return follower_.modem() != nullptr && !signalOf(*follower_.modem()).technology.empty();
}

void ModemSignal::modemChanged() {
    const Modem* modem = follower_.modem();
    if (modem == nullptr) {
        path_.clear();  // of a ModemManager that begins anew the next modem may have the same
    }
    if (first_.isSet() && (modem == nullptr || modem->path != path_ || isMeasured())) {
        finish();
    }
}

void ModemSignal::stop() {
    asked_.cancel();
    setRate([](const Result<void>&) {});
    finish();
}

void ModemSignal::finish() {
    first_.cancel();
    for (const auto& then : std::exchange(waiting_, {})) {
        then();
    }
}

}  // namespace corvane::modemmanager
