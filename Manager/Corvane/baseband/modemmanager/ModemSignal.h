#pragma once

#include "Corvane/baseband/modemmanager/ModemFollower.h"
#include "Corvane/loop/Timer.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::modemmanager {

struct SignalFigures {
    std::string_view technology;  ///< "LTE"; empty when nothing is measured
    xpc::Object figures;          ///< by ModemManager's names: "rsrp", ...
};
/// Of the first technology that the modem measures.
SignalFigures signalOf(const Modem& modem);

/// Has ModemManager measure the signal of the modem while somebody wants to know it: each measurement wakes the modem.
class ModemSignal {
public:
    /// @param follower outlives this.
    ModemSignal(Loop& loop, ModemFollower& follower) : follower_(follower), first_(loop), asked_(loop) {}

    /// Runs `then` as soon as there are figures, at the latest a second after the measuring began. At once when the modem can't
    /// be measured.
    void measure(std::function<void()> then);
    /// Of the modem that is there; to be called again when another one is.
    void measureEverySecond(bool on, Completion<void> done);
    bool isEverySecond() const { return everySecond_; }
    /// After whatever may concern the modem.
    void modemChanged();
    /// Answers what waits, and puts ModemManager's rate back.
    void stop();

private:
    bool isMeasured() const;
    std::uint32_t wantedSeconds() const;
    /// Tells ModemManager how often the modem is to be measured, if that is something else than before.
    void setRate(Completion<void> done);
    void rateAnswered(std::uint32_t wanted, bool isSet);
    void finish();

    ModemFollower& follower_;
    std::vector<std::function<void()>> waiting_;
    std::string path_;                  ///< of the modem that the rates are of
    std::uint32_t foreignSeconds_ = 0;  ///< between measurements, as it was before; 0 for none
    std::uint32_t seconds_ = 0;         ///< that ModemManager was asked for
    std::uint32_t setSeconds_ = 0;      ///< that it has set
    bool everySecond_ = false;
    Timer first_;  ///< while the measuring has just begun and there are no figures yet
    Timer asked_;  ///< while the last question is not long ago
};

}  // namespace corvane::modemmanager
