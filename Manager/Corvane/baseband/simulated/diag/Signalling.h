#pragma once

#include "Corvane/baseband/simulated/diag/DiagPort.h"
#include "Corvane/baseband/simulated/diag/Gsmtap.h"
#include "Corvane/baseband/simulated/diag/RadioSignal.h"
#include "Corvane/baseband/simulated/diag/RrcMessages.h"
#include "Corvane/baseband/simulated/diag/Subscriber.h"
#include "Corvane/loop/Timer.h"

#include <deque>
#include <functional>
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
    void attach();
    /// Leaves the network. @param isSwitchedOff it doesn't wait for the network's answer.
    void detach(bool isSwitchedOff);
    /// Ends at once whatever is under way, as a reset does.
    void abandon();
    /// The rest of a procedure under way happens now, so that who reads the messages sees all of it.
    void finish();

    /// What happens in a second.
    void second();
    /// Lines on the data path, for a tenth of a second.
    void throughput();

    void log(const char* subsystem, const std::string& text, gsmtap::Level level = gsmtap::Level::Notice);

    /// Technology, operator, cell, RSRP, RSRQ and SNR of the last second, with commas between; only the first when not
    /// registered.
    std::string measurement() const;
    bool isRegistered() const { return registered_; }
    const Cell& cell() const { return cell_; }
    RadioSignal& signal() { return signal_; }

private:
    struct Step {
        DiagGroup group;
        std::function<std::string(const gsmtap::Radio& radio)> packet;
    };

    void add(gsmtap::RrcChannel channel, std::string message);
    void addNas(gsmtap::Direction direction, std::string message, bool isSecured = false);
    /// In an RRC message of its own.
    void addUplink(const std::string& nas);
    void addDownlink(std::string nas);
    void connect(rrc::Cause cause, std::string nas, bool isSecured = false);
    void secureConnection();
    void release();

    void updateTrackingArea();
    void requestService();
    void broadcast();

    void begin();
    void step();
    void emit(const Step& step);
    void selectCell();
    std::string randomBytes(std::size_t count);
    unsigned transaction() { return lastTransaction_ = (lastTransaction_ + 1) % 4; }
    gsmtap::Radio radio(std::chrono::system_clock::time_point time) const;

    DiagPort& port_;
    Timer timer_;  ///< to the next step
    std::mt19937 random_;
    RadioSignal signal_;
    Subscriber subscriber_;
    Cell cell_;
    bool registered_ = false;
    std::deque<Step> script_;
    unsigned lastTransaction_ = 0;
    unsigned uplinkCount_ = 0;
    unsigned seconds_ = 0;
};

}  // namespace corvane::simulated
