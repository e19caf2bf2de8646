#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/simulated/BasebandClock.h"
#include "Corvane/baseband/simulated/BasebandStatistics.h"
#include "Corvane/baseband/simulated/FileSystemSync.h"
#include "Corvane/baseband/simulated/Link.h"
#include "Corvane/baseband/simulated/PowerLogs.h"
#include "Corvane/baseband/simulated/RFSelfTest.h"
#include "Corvane/baseband/simulated/StalledTraces.h"
#include "Corvane/baseband/simulated/StateMachine.h"
#include "Corvane/baseband/simulated/WakeReasons.h"
#include "Corvane/baseband/simulated/diag/DiagSource.h"
#include "Corvane/baseband/simulated/scenario/ScenarioPlayer.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// A baseband that behaves like one without being one: it boots, changes modes, keeps time and non-volatile data, wakes the
/// application processor, writes power logs and tests its radio.
///
/// It boots when it is started; what a real one remembers is in the settings. A command that needs it Ready waits while it boots
/// or resets. A reset and a change of mode end a running self-test. What goes wrong with it a scenario says.
class SimulatedBaseband final : public Baseband, simulated::StateMachine::Listener {
public:
    /// @param loop and @param store outlive it.
    SimulatedBaseband(Loop& loop, SettingsStore& store, const std::optional<simulated::Scenario>& scenario);

    void start(BasebandListener& listener) override;
    void stop() override;

    void getBootState(Completion<BootStatus> completion) override;
    void getOperatingMode(Completion<OperatingMode> completion) override;
    void getVersion(Completion<BasebandVersion> completion) override;
    void getTime(Completion<BasebandTime> completion) override;
    void getWakeReason(Completion<WakeReason> completion) override;
    void setOperatingMode(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion) override;
    void reset(const ResetRequest& request, Completion<void> completion) override;
    void eraseNVData(Completion<void> completion) override;
    void syncFileSystem(bool waitForCompletion, Completion<void> completion) override;
    void controlPowerLog(PowerLog log, PowerLogAction action, Completion<void> completion) override;
    void simulatePowerNotification(std::uint32_t message, Completion<void> completion) override;
    void runSelfTest(const RFSelfTestOptions& options, Completion<RFSelfTestEvent> completion) override;
    void abortSelfTest(const std::string& why, Completion<void> completion) override;
    bool canRecord(ryn::trace::Type trace) const override;
    void switchTrace(ryn::trace::Type trace, bool on, Completion<void> completion) override;
    void configureDiag(const DiagSettings& settings) override;
    void drainDiag() override { diag_.drain(); }
    std::chrono::milliseconds longestSilence() const override { return longestSilence_; }
    void getStatistics(Completion<xpc::Object> completion) override;
    void collectSnapshot(Completion<SnapshotFiles> completion) override;

private:
    void resetBegins(const ResetRequest& request) override;
    void crashed(const std::string& reason) override;
    void hung() override;
    void bootStateChanged(BootState state) override;
    void operatingModeChanged(OperatingMode mode) override;
    void selfTestProgressed(const RFSelfTestEvent& event);

    BootStatus bootStatus() const;
    /// What was under way ends. @param why "by ..."
    void goDown(const std::string& why);
    void beginSelfTest(const RFSelfTestOptions& options, Completion<RFSelfTestEvent> completion);
    void sleepChanged(const char* why, bool asleep);
    void record(const TraceRecord& record);
    xpc::Object state() const;
    xpc::Object statistics() const;
    /// What its front end and its network follow from.
    std::uint64_t seed() const { return seed_.value_or(nvData_.calibrationSeed()); }
    void tellScenario(std::string_view event);

    BasebandListener* listener_ = &nobody;
    const std::optional<std::uint64_t> seed_;  ///< a scenario's
    const std::chrono::milliseconds longestSilence_;

    simulated::NVData nvData_;
    simulated::BasebandClock clock_;
    simulated::BasebandStatistics statistics_;
    simulated::WakeReasons wakeReasons_;
    simulated::PowerLogs powerLogs_;
    simulated::Link link_;
    simulated::StalledTraces stalledTraces_;
    simulated::DiagSource diag_;
    simulated::RFSelfTest selfTest_;
    simulated::FileSystemSync fileSystemSync_;
    simulated::StateMachine stateMachine_;
    std::unique_ptr<simulated::ScenarioPlayer> scenario_;  ///< if there is one
    std::optional<OperatingMode> wantedMode_;              ///< what was asked for since the boot
    bool holdsDiag_ = false;
    bool leavesCoreDumps_ = false;
};

}  // namespace corvane
