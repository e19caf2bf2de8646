#pragma once

#include "Corvane/baseband/simulated/diag/DiagPort.h"
#include "Corvane/baseband/simulated/diag/Gsmtap.h"
#include "Corvane/baseband/simulated/diag/RrcMessages.h"
#include "Corvane/loop/Timer.h"

#include <deque>
#include <functional>
#include <string>

namespace corvane::simulated {

/// The messages of a procedure that are still to come: they go out one after the other, some milliseconds apart.
class Conversation {
public:
    using Time = std::chrono::system_clock::time_point;

    /// @param radio tells how the cell is heard when a message goes out.
    Conversation(Loop& loop, DiagPort& port, std::function<gsmtap::Radio(Time now)> radio)
        : port_(port), radio_(std::move(radio)), timer_(loop) {}

    /// Who asks for a connection: by a number of 40 bits that the network knows, or by a random one.
    struct Caller {
        bool isKnown;
        std::uint64_t identity;
    };
    void connect(const Caller& caller, rrc::Cause cause, std::string nas, bool isSecured = false);
    void secureConnection();
    /// @param nas none when empty.
    void reconfigure(const std::string& nas);
    void release();

    void add(gsmtap::RrcChannel channel, std::string message);
    /// In an RRC message of its own.
    void addUplink(const std::string& nas);
    void addDownlink(std::string nas);

    /// Begins to send what was added.
    void begin();
    /// What is still to come goes out now.
    void finish();
    /// What is still to come doesn't happen.
    void abandon();
    bool isUnderWay() const { return !script_.empty(); }

private:
    struct Step {
        DiagGroup::Bit group;
        std::function<std::string(const gsmtap::Radio& radio)> packet;
    };

    void addNas(gsmtap::Direction direction, std::string message, bool isSecured = false);
    unsigned transaction() { return lastTransaction_ = (lastTransaction_ + 1) % 4; }
    void step();
    void emit(const Step& step);

    DiagPort& port_;
    std::function<gsmtap::Radio(Time now)> radio_;
    Timer timer_;  ///< to the next step
    std::deque<Step> script_;
    unsigned lastTransaction_ = 0;
};

}  // namespace corvane::simulated
