#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/PendingAnswer.h"
#include "Corvane/baseband/modemmanager/ModemFollower.h"
#include "Corvane/baseband/modemmanager/ModemReset.h"
#include "Corvane/baseband/modemmanager/ModemStates.h"
#include "Corvane/loop/Timer.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// The modem that ModemManager manages, over the system bus.
///
/// There need be no bus, no ModemManager and no modem: it is "Off" then, and commands are refused with what is missing. A modem
/// that failed is "Off" with ModemManager's reason in parentheses: "Off (sim-missing)".
class ModemManagerBaseband final : public Baseband {
public:
    /// @param loop outlives it. @param modem see modemmanager::ModemChoice; empty: the first.
    ModemManagerBaseband(Loop& loop, std::string modem);

    void start(BasebandListener& listener) override;
    void stop() override;

    void getBootState(Completion<BootStatus> completion) override;
    void getOperatingMode(Completion<OperatingMode> completion) override;
    void getVersion(Completion<BasebandVersion> completion) override;
    void getTime(Completion<BasebandTime> completion) override;
    void setOperatingMode(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion) override;
    void reset(const ResetRequest& request, Completion<void> completion) override;
    void eraseNVData(Completion<void> completion) override;
    void getStatistics(Completion<xpc::Object> completion) override;
    void collectSnapshot(Completion<SnapshotFiles> completion) override;

private:
    struct ModeChange {
        OperatingMode mode;
        PendingAnswerPtr answer;
    };

    BootStatus bootStatus() const;
    void modemChanged();
    void announce();
    void log(const std::string& sentence);

    void changeModes();
    void enable(bool on, std::function<void()> then);
    void setPowerState(modemmanager::PowerState state);
    /// The change under way is carried out: it ends when the modem shows its mode, or after `otherwise` when it shows none.
    void awaitMode(std::function<void()> otherwise);
    void endAwaitedChange();
    void endModeChange(const Result<void>& result);
    Refusal refused(const modemmanager::BusError& error, std::string_view action) const;

    Loop& loop_;
    BasebandListener* listener_ = nullptr;
    modemmanager::ModemFollower follower_;
    modemmanager::ModemReset reset_;
    std::deque<ModeChange> waitingChanges_;  ///< in the order in which they were asked for
    std::optional<ModeChange> change_;       ///< under way
    bool awaited_ = false;                   ///< carried out, but the modem doesn't show it yet
    Timer announcement_;

    std::string_view loggedState_;  ///< ModemManager's word
    BootStatus announcedBootStatus_;
    std::optional<OperatingMode> announcedMode_;
    std::int64_t boots_ = 0;
    std::int64_t softResets_ = 0;
    std::int64_t modeChanges_ = 0;
};

}  // namespace corvane
