#pragma once

#include "Corvane/baseband/PendingAnswer.h"
#include "Corvane/baseband/simulated/NVData.h"

#include <deque>
#include <limits>
#include <string>
#include <vector>

namespace corvane::simulated {

/// Boot state and operating mode, and the time that their changes take.
///
///     start            Booting, mode 1 (or 6, persistent)          Ready
///     a reset          Resetting       Booting, mode 1 (or 6)      Ready     from Off without Resetting
///     mode 4           mode 4          Resetting ...                         from mode 3 only
///     mode 5           mode 5          Off
///
/// What needs a baseband that is Ready waits while it boots or resets, in the order in which it was asked for, and is refused
/// while it is Off or shutting down. One reset at a time; a boot that no reset has caused may be cut short by one.
///
/// It can be made to go wrong: to crash, whereupon it boots again, to fail to boot, to hang, and to take its time.
class StateMachine {
public:
    /// Hears of a change once it is made, before the command that caused it is answered.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void resetBegins(const ResetRequest& request) = 0;
        virtual void crashed(const std::string& reason) = 0;
        virtual void hung() = 0;
        virtual void bootStateChanged(BootState state) = 0;
        virtual void operatingModeChanged(OperatingMode mode) = 0;
    };

    StateMachine(Loop& loop, NVData& nvData, Listener& listener)
        : loop_(loop), nvData_(nvData), listener_(listener), step_(loop), patience_(loop), modeChange_(loop) {}

    void start() { boot(); }
    /// Answers everything that waits with Aborted.
    void stop();

    BootState bootState() const { return bootState_; }
    /// A sentence on why the baseband is Off, when it failed to boot; else empty.
    const std::string& bootFailure() const { return bootFailure_; }
    OperatingMode operatingMode() const { return mode_; }
    /// Of the last boot that came to its end; 0 before that.
    std::chrono::milliseconds lastBootDuration() const { return lastBootDuration_; }

    /// See Baseband::setOperatingMode and Baseband::reset.
    void setOperatingMode(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion);
    void reset(const ResetRequest& request, Completion<void> completion);
    /// Completes when the baseband is Ready: at once when it is, with a refusal when it won't be.
    void whenReady(Completion<void> completion);
    /// Whether the baseband answers at all; a refusal while it hangs.
    Result<void> checkAnswering() const;

    /// @return false when it is Off, on its way to that, or hanging: nothing happens then.
    bool crash(const std::string& reason);
    /// The next boots fail. @param times kEveryBoot: more than a manager lives to see.
    void failBoots(unsigned times) { failingBoots_ = times; }
    static constexpr unsigned kEveryBoot = std::numeric_limits<unsigned>::max();
    /// Nothing is answered or happens any more until a hard reset. @return as `crash`
    bool hang();
    /// How long a change of the operating mode takes from now on.
    void setModeChangeDuration(std::chrono::milliseconds duration) { modeChangeLasts_ = duration; }

private:
    void runWaiting();
    bool canRunWaiting() const;
    bool isShuttingDown() const { return mode_ == OperatingMode::ShuttingDown && bootState_ != BootState::Off; }

    void changeMode(OperatingMode mode, const PendingAnswerPtr& answer);
    void reachMode(OperatingMode mode, const PendingAnswerPtr& answer);
    /// Ends a change of the mode that is under way.
    void giveUpModeChange(const Refusal& refusal);
    void beginReset(const ResetRequest& request, Completion<void> completion);
    void beginShutdown(Completion<void> completion);
    void boot();
    void becomeReady();
    /// @param reached what the reset or the shutdown under way is answered
    void becomeOff(const Result<void>& reached);
    void failToBoot();
    /// Refuses, after a while, what a baseband that hangs has been asked for.
    void losePatience();
    Refusal offRefusal() const;
    bool canFail() const { return bootState_ != BootState::Off && !isShuttingDown() && !hanging_; }

    void enter(BootState state);
    void enter(OperatingMode mode);

    Loop& loop_;
    NVData& nvData_;
    Listener& listener_;

    BootState bootState_ = BootState::Off;
    OperatingMode mode_ = OperatingMode::LowPower;
    Timer step_;                                ///< to the next boot state
    bool resetUnderWay_ = false;                ///< until Ready
    std::vector<Completion<void>> transition_;  ///< of the reset or the shutdown under way
    std::deque<Completion<void>> waiting_;      ///< for Ready
    bool awaitsTurn_ = false;                   ///< to run more of them
    std::string bootFailure_;
    unsigned failingBoots_ = 0;  ///< that are to come
    bool hanging_ = false;
    Timer patience_;  ///< with a baseband that hangs
    std::chrono::milliseconds modeChangeLasts_{};
    Timer modeChange_;
    PendingAnswerPtr changing_;  ///< while a change of the mode is under way
    std::chrono::steady_clock::time_point bootBegan_;
    std::chrono::milliseconds lastBootDuration_{};
};

}  // namespace corvane::simulated
