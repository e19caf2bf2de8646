#pragma once

#include "Corvane/baseband/PendingAnswer.h"
#include "Corvane/baseband/simulated/Durations.h"
#include "Corvane/baseband/simulated/NVData.h"
#include "Corvane/baseband/simulated/OperatingModes.h"

#include <deque>
#include <vector>

namespace corvane::simulated {

enum class BootState { Off, Booting, Ready, Resetting };
/// As it travels: "Off", ...
const char* nameOf(BootState state);

/// Boot state and operating mode, and the time that their changes take.
///
///     start            Booting, mode 1 (or 6, persistent)          Ready
///     a reset          Resetting       Booting, mode 1 (or 6)      Ready     from Off without Resetting
///     mode 4           mode 4          Resetting ...                         from mode 3 only
///     mode 5           mode 5          Off
///
/// What needs a baseband that is Ready waits while it boots or resets, in the order in which it was asked for, and is refused
/// while it is Off or shutting down. One reset at a time; a boot that no reset has caused may be cut short by one.
class StateMachine {
public:
    /// Told of a change once it is made, before the command that caused it is answered.
    class Observer {
    public:
        virtual ~Observer() = default;
        virtual void resetBegins(const ResetRequest& request) = 0;
        virtual void bootStateChanged(BootState state) = 0;
        virtual void operatingModeChanged(OperatingMode mode) = 0;
    };

    StateMachine(Loop& loop, const Durations& durations, NVData& nvData, Observer& observer)
        : loop_(loop), durations_(durations), nvData_(nvData), observer_(observer), step_(loop) {}

    void start() { boot(); }
    /// Answers everything that waits with Aborted.
    void stop();

    BootState bootState() const { return bootState_; }
    OperatingMode operatingMode() const { return mode_; }
    /// Of the last boot that came to its end; 0 before that.
    std::chrono::milliseconds lastBootDuration() const { return lastBootDuration_; }

    /// See Baseband::setOperatingMode and Baseband::reset.
    void setOperatingMode(std::int64_t mode, std::chrono::seconds timeout, Completion completion);
    void reset(const ResetRequest& request, Completion completion);
    /// `action` answers; it runs at once when the baseband is Ready.
    using Action = std::function<void(const PendingAnswerPtr& answer)>;
    void whenReady(Completion completion, Action action);

private:
    struct Waiting {
        Action action;
        PendingAnswerPtr answer;
    };

    void whenReady(Waiting waiting);
    void runWaiting();
    bool isShuttingDown() const { return mode_ == OperatingMode::ShuttingDown && bootState_ != BootState::Off; }

    void changeMode(OperatingMode mode, const PendingAnswerPtr& answer);
    void beginReset(const ResetRequest& request, const PendingAnswerPtr& answer);
    void beginShutdown(const PendingAnswerPtr& answer);
    void boot();
    void becomeReady();
    void becomeOff();

    void enter(BootState state);
    void enter(OperatingMode mode);
    void succeedTransition();

    Loop& loop_;
    const Durations durations_;
    NVData& nvData_;
    Observer& observer_;

    BootState bootState_ = BootState::Off;
    OperatingMode mode_ = OperatingMode::LowPower;
    Timer step_;                                ///< to the next boot state
    bool resetUnderWay_ = false;                ///< until Ready
    std::vector<PendingAnswerPtr> transition_;  ///< answered when the reset or the shutdown has ended
    std::deque<Waiting> waiting_;
    std::chrono::steady_clock::time_point bootBegan_;
    std::chrono::milliseconds lastBootDuration_{};
};

}  // namespace corvane::simulated
