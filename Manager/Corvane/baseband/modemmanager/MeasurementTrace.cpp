#include "Corvane/baseband/modemmanager/MeasurementTrace.h"

#include "Corvane/baseband/modemmanager/ModemReport.h"
#include "Corvane/baseband/modemmanager/ModemStates.h"
#include "Corvane/support/Text.h"

#include <fmt/format.h>

#include <utility>

namespace corvane::modemmanager {
namespace {

using namespace std::chrono_literals;

std::string shown(const xpc::Object& dictionary, const char* key) {
    const auto value = xpc::Object::share(xpc_dictionary_get_value(dictionary.get(), key));
    if (value.is(XPC_TYPE_INT64)) {
        return std::to_string(xpc_int64_get_value(value.get()));
    }
    return value.is(XPC_TYPE_STRING) ? xpc_string_get_string_ptr(value.get()) : "";
}

/// In decimal; ModemManager tells it in hexadecimal.
std::string cellOf(const xpc::Object& place) {
    const auto cell = parseNumber(shown(place, "Cell"), 16);
    return cell ? std::to_string(*cell) : "";
}

std::string measurementOf(const Modem& modem, const xpc::Object& place) {
    const SignalFigures signal = signalOf(modem);
    if (signal.technology.empty()) {
        return "none,,,,,";
    }
    const std::string country = shown(place, "MCC");
    return fmt::format("{},{},{},{},{},{}", signal.technology, country.empty() ? "" : country + " " + shown(place, "MNC"),
                       cellOf(place), shown(signal.figures, "rsrp"), shown(signal.figures, "rsrq"), shown(signal.figures, "snr"));
}

}  // namespace

MeasurementTrace::MeasurementTrace(Loop& loop, ModemFollower& follower, ModemSignal& signal, OnRecord onRecord, Log log)
    : ModemTrace(follower, std::move(log)), signal_(signal), onRecord_(std::move(onRecord)), second_(loop) {}

std::string MeasurementTrace::source() const {
    const Modem* modem = follower_.modem();
    // Before it is unlocked it doesn't show all that it can.
    const bool isKnown = modem != nullptr && (modem->state() > MM_MODEM_STATE_LOCKED || modem->has(kSignalInterface));
    return isKnown ? modem->path : "";
}

Result<void> MeasurementTrace::check() const {
    const Modem* modem = follower_.modem();
    if (modem == nullptr) {
        return follower_.absence();
    }
    if (modem->has(kSignalInterface)) {
        return {};
    }
    const std::string obstacle = obstacleOf(*modem);
    return Refusal::notSupported(
        "The modem's signal can't be measured: " + (obstacle.empty() ? "ModemManager knows no way to it" : obstacle) + ".");
}

void MeasurementTrace::begin(Completion<void> done) {
    signal_.measureEverySecond(true, [this, done = std::move(done)](const Result<void>& measured) {
        if (measured && signal_.isEverySecond()) {  // it may have been switched off meanwhile
            second_.set(1s, [this] { everySecond(); });
        }
        done(measured);
    });
}

void MeasurementTrace::end() {
    second_.cancel();
    signal_.measureEverySecond(false, [this](const Result<void>& done) { complain(done); });
}

/// While ModemManager doesn't answer, no line is written: it measures nothing then either.
void MeasurementTrace::everySecond() {
    second_.set(1s, [this] { everySecond(); });
    if (follower_.modem() != nullptr && !std::exchange(asking_, true)) {
        askPlace(follower_, [this, path = follower_.modem()->path](const Result<xpc::Object>& place) { record(path, place); });
    }
}

void MeasurementTrace::record(const std::string& path, const Result<xpc::Object>& place) {
    asking_ = false;
    const Modem* modem = follower_.modem();
    if (second_.isSet() && modem != nullptr && modem->path == path) {
        onRecord_(
            {ryn::trace::Type::TEMS, std::chrono::system_clock::now(), measurementOf(*modem, place ? *place : xpc::Object())});
    }
}

}  // namespace corvane::modemmanager
