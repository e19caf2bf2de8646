#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/modemmanager/MeasurementTrace.h"
#include "Corvane/baseband/modemmanager/MessageLog.h"
#include "Corvane/baseband/modemmanager/ModeChanges.h"
#include "Corvane/baseband/modemmanager/ModeWish.h"
#include "Corvane/baseband/modemmanager/ModemFollower.h"
#include "Corvane/baseband/modemmanager/ModemReset.h"
#include "Corvane/baseband/modemmanager/ModemSignal.h"

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
    /// @param loop and @param store outlive it. @param modem see modemmanager::ModemChoice; empty: the first.
    ModemManagerBaseband(Loop& loop, SettingsStore& store, std::string modem);

    void start(BasebandListener& listener) override;
    void stop() override;

    void getBootState(Completion<BootStatus> completion) override { completion(bootStatus()); }
    void getOperatingMode(Completion<OperatingMode> completion) override;
    void getVersion(Completion<BasebandVersion> completion) override;
    void getTime(Completion<BasebandTime> completion) override;
    void setOperatingMode(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion) override;
    void reset(const ResetRequest& request, Completion<void> completion) override;
    void eraseNVData(Completion<void> completion) override;
    void getStatistics(Completion<xpc::Object> completion) override;
    bool canRecord(ryn::trace::Type trace) const override;
    void switchTrace(ryn::trace::Type trace, bool on, Completion<void> completion) override;
    void collectSnapshot(Completion<SnapshotFiles> completion) override;

private:
    void stopTraces();
    /// Whether a reset can begin.
    Result<void> checkReset() const;
    BootStatus bootStatus() const;
    void modemChanged();
    void countBoots();
    void announce();
    /// @param isAnother the modem has taken the place of the one that was announced before.
    void announceBootState(bool isAnother);
    void announceMode(bool isAnother);
    xpc::Object statistics() const;

    BasebandListener* listener_ = &nobody;
    const modemmanager::Log log_ = [this](const std::string& sentence) { listener_->basebandLog(sentence); };
    const OnRecord record_ = [this](const TraceRecord& record) { listener_->traceRecorded(record); };
    modemmanager::ModeWish wish_;
    modemmanager::ModemFollower follower_;
    modemmanager::ModemReset reset_;
    modemmanager::ModeChanges modeChanges_;
    modemmanager::ModemSignal signal_;
    modemmanager::MeasurementTrace measurements_;
    modemmanager::MessageLog messageLog_;

    std::string_view loggedState_;  ///< ModemManager's word
    std::int64_t announcedReplacements_ = 0;
    BootStatus announcedBootStatus_;
    std::optional<OperatingMode> announcedMode_;
    bool booting_ = false;        ///< the modem has booted and isn't ready yet
    std::int64_t seenBoots_ = 0;  ///< of those that the follower has counted
    std::int64_t boots_ = 0;
    std::int64_t softResets_ = 0;
};

}  // namespace corvane
