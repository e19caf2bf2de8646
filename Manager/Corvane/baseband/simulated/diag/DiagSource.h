#pragma once

#include "Corvane/baseband/simulated/diag/DiagPort.h"
#include "Corvane/baseband/simulated/diag/Signalling.h"

namespace corvane::simulated {

/// The baseband's diagnostic messages and measurements: follows its states, and is heard every second while anyone wants them.
///
/// No timer is set while no group of messages is chosen and nothing is measured, or while the baseband is not Ready, unless the
/// signal is fading.
class DiagSource {
public:
    DiagSource(Loop& loop, std::uint64_t seed, OnRecord onRecord)
        : onRecord_(onRecord), port_(std::move(onRecord)), signalling_(loop, port_, seed), second_(loop), tenth_(loop) {}

    void configure(const DiagSettings& settings);
    void drain();
    /// Tells a measurement every second, as the TEMS trace has them.
    void setMeasuring(bool on);

    void resetBegins(const ResetRequest& request);
    void crashed(const std::string& reason);
    /// Nothing is heard until it boots.
    void hung();
    void bootStateChanged(const BootStatus& status, std::chrono::milliseconds bootDuration);
    void operatingModeChanged(OperatingMode mode);
    /// @param what "about to sleep", "voice call", ...
    void powerNotification(const char* what, bool asleep);
    /// See Signalling.
    void setSimPresent(bool present);
    void setServed(bool served) { signalling_.setServed(served); }
    /// Goes on by the second, also while nobody listens.
    void fade(int rsrpDbm, int seconds);
    void clockJumped(const std::string& time) { signalling_.log("NAS", "the network says that it is " + time); }
    /// {SIM, Registration}, and RSRP while it is registered, as the statistics show them.
    xpc::Object service() const;
    void selfTest(const char* what) { signalling_.log("RF", std::string("self-test ") + what); }

private:
    /// Sets the timers that are needed, and no other.
    void schedule();
    void everySecond();
    void everyTenth();

    OnRecord onRecord_;
    DiagPort port_;
    Signalling signalling_;
    Timer second_;
    Timer tenth_;
    bool ready_ = false;
    bool measuring_ = false;
    unsigned uptime_ = 0;  ///< seconds in which there were messages
};

}  // namespace corvane::simulated
