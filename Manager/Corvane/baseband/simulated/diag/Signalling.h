#pragma once

#include "Corvane/baseband/simulated/diag/Conversation.h"
#include "Corvane/baseband/simulated/diag/RadioSignal.h"
#include "Corvane/baseband/simulated/diag/Subscriber.h"

#include <random>
#include <string>

namespace corvane::simulated {

/// What the baseband and a test network say to each other, as diagnostic messages: attach, detach, tracking area updates,
/// service requests, pagings and what is broadcast, with log lines of the baseband's subsystems.
///
/// A procedure takes some tens of milliseconds, a message after the other; without anyone who wants messages it is over at
/// once. The same seed gives the same cells, identities and measurements.
class Signalling {
public:
    Signalling(Loop& loop, DiagPort& port, std::uint64_t seed);

    /// Online: looks for a cell and attaches.
    void goOnline();
    /// Leaves the network. @param isSwitchedOff it doesn't wait for the network's answer.
    void goOffline(bool isSwitchedOff);
    /// Ends at once whatever is under way, as a reset does.
    void abandon();
    /// The rest of a procedure under way happens now, so that who reads the messages sees all of it.
    void finish() { conversation_.finish(); }

    void setSimPresent(bool present);
    /// Whether the network lets the subscriber in.
    void setServed(bool served);
    void fade(int rsrpDbm, int seconds);

    /// What happens in a second.
    void second();
    /// Lines on the data path, for a tenth of a second.
    void throughput();

    void log(const char* subsystem, const std::string& text, gsmtap::Level level = gsmtap::Level::Notice);
    void logSim(bool present);

    /// Technology, operator, cell, RSRP, RSRQ and SNR of the last second, with commas between; only the first when not
    /// registered.
    std::string measurement() const;
    bool isSimPresent() const { return simPresent_; }
    bool isRegistered() const { return registered_; }
    /// "home", "denied", "searching" or "idle"
    const char* registration() const;
    const RadioSignal& signal() const { return signal_; }

private:
    void attach();
    void requestAttach();
    void beRejected();
    void detach(bool isSwitchedOff);
    void detachByNetwork();
    void updateTrackingArea();
    void answerPaging();
    void requestService();
    void endProcedure();
    void followSignal();
    void listen();

    void connect(rrc::Cause cause, std::string nas, bool isSecured = false);
    void broadcast();
    void selectCell();
    std::string randomBytes(std::size_t count);
    gsmtap::Radio radio(Conversation::Time time) const;

    DiagPort& port_;
    std::mt19937 random_;
    RadioSignal signal_;
    Subscriber subscriber_;
    Cell cell_;
    Conversation conversation_;
    bool online_ = false;
    bool simPresent_ = true;
    bool served_ = true;
    bool heard_ = true;  ///< the signal suffices
    bool registered_ = false;
    unsigned uplinkCount_ = 0;
    unsigned seconds_ = 0;
};

}  // namespace corvane::simulated
