#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/modemmanager/ModeWish.h"
#include "Corvane/baseband/modemmanager/ModemFollower.h"

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>

namespace corvane::modemmanager {

/// Carries out mode changes one after the other, in the order in which they were asked for.
///
/// A change that timed out goes on until the next request replaces it, so no request waits behind one that has timed out.
class ModeChanges {
public:
    /// @param follower and @param wish outlive this.
    ModeChanges(Loop& loop, ModemFollower& follower, ModeWish& wish, Log log);

    void request(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion);
    /// Puts a modem that hasn't booted back into the mode that was asked for.
    void restore();
    /// Ends what was asked of a modem whose place another one has taken. To be called before `restore`.
    void endForeign();
    /// After whatever may concern the modem.
    void modemChanged();
    /// Answers every change with Aborted.
    void stop();

    bool underWay() const { return !changes_.empty(); }
    /// How many have been carried out.
    std::int64_t count() const { return count_; }

private:
    struct Change {
        std::string modem;          ///< the identity of the one that it is meant for
        std::int64_t replacements;  ///< of the follower when it was asked for
        OperatingMode mode;
        Completion<void> completion;  ///< none when nobody waits any more
        std::chrono::seconds timeout;
        std::unique_ptr<Timer> timer;
        std::optional<OperatingMode> wishBefore = {};
        bool begun = false;
        bool carriedOut = false;  ///< but the modem doesn't show it yet
    };

    void add(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion);
    void beginNext();
    void begin();
    /// Calls a method of the modem and goes on with `then` if it succeeds and the change is still under way.
    template <typename Argument>
    void call(const char* member, std::chrono::seconds limit, std::function<void()> then, const char* signature,
              Argument argument);
    void setPowerState();
    /// Whether the modem that the change under way is meant for is there.
    Result<void> checkModem() const;
    bool isForeign() const { return changes_.front().replacements != follower_.replacements(); }
    void awaitMode();
    void expire(const Change* change);
    /// Ends the change under way. `result` goes to its caller; if that was answered already, a refusal goes to the log.
    void end(Result<void> result);

    Loop& loop_;
    ModemFollower& follower_;
    ModeWish& wish_;
    const Log log_;
    std::list<Change> changes_;  ///< the first is under way
    std::uint64_t number_ = 0;   ///< of the one under way: replies to an earlier one are out of date
    Timer announcement_;
    std::int64_t count_ = 0;
};

}  // namespace corvane::modemmanager
