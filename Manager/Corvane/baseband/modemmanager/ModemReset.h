#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/modemmanager/ModemFollower.h"

#include <functional>
#include <string>

namespace corvane::modemmanager {

/// A reset or a factory reset, from the request until the same modem has restarted and can be used again.
///
/// A modem restarts by leaving ModemManager and coming back as another object, or by being initialized anew as the same one.
class ModemReset {
public:
    /// @param onChange runs when `resetting` may have changed.
    ModemReset(Loop& loop, ModemFollower& follower, std::function<void()> onChange);

    /// The modem must be there and nothing under way.
    void reset(Completion<void> ended);
    /// A modem that doesn't restart by itself is reset once it has accepted this: the factory's data counts from then on.
    void eraseData(Completion<void> ended);
    /// After whatever may concern the modem.
    void modemChanged();
    void stop();

    bool underWay() const { return static_cast<bool>(ended_); }
    /// Whether the modem is away, or about to go.
    bool resetting() const { return underWay() && phase_ != Phase::Asked; }

private:
    enum class Phase { Asked, Accepted, Left };

    void begin(std::string action, Completion<void> ended);
    void askReset();
    void replied(const BusReply& reply);
    void end(Result<void> result);
    Refusal late() const;

    ModemFollower& follower_;
    const std::function<void()> onChange_;
    Completion<void> ended_;
    std::string action_;             ///< what was asked for, to follow "can't"
    std::string path_;               ///< of the modem when it was asked
    std::int64_t replacements_ = 0;  ///< of the follower when it was asked
    bool mayInitialize_ = false;     ///< not by itself: it isn't locked
    Phase phase_ = Phase::Asked;
    std::uint64_t number_ = 0;  ///< replies to the questions of an earlier one are out of date
    Timer leave_;
    Timer limit_;
};

}  // namespace corvane::modemmanager
