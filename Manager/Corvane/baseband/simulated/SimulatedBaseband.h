#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/simulated/BasebandClock.h"
#include "Corvane/baseband/simulated/BasebandStatistics.h"
#include "Corvane/baseband/simulated/FileSystemSync.h"
#include "Corvane/baseband/simulated/PowerLogs.h"
#include "Corvane/baseband/simulated/RFSelfTest.h"
#include "Corvane/baseband/simulated/StateMachine.h"
#include "Corvane/baseband/simulated/WakeReasons.h"

namespace corvane {

/// A baseband that behaves like one without being one: it boots, changes modes, keeps time and non-volatile data, wakes the
/// application processor, writes power logs and tests its radio.
///
/// It boots when it is started; what a real one remembers is in the storage. A command that needs it Ready waits while it boots
/// or resets. A reset and a change of mode end a running self-test.
class SimulatedBaseband final : public Baseband, simulated::StateMachine::Observer, simulated::RFSelfTest::Observer {
public:
    /// @param loop and @param storage outlive it.
    SimulatedBaseband(Loop& loop, BasebandStorage& storage, const simulated::Durations& durations = {});

    void start(BasebandListener& listener) override;
    void stop() override;

    void getVersion(Completion completion) override;
    void getBootState(Completion completion) override;
    void getOperatingMode(Completion completion) override;
    void setOperatingMode(std::int64_t mode, std::chrono::seconds timeout, Completion completion) override;
    void getTime(Completion completion) override;
    void getWakeReason(Completion completion) override;
    void reset(const ResetRequest& request, Completion completion) override;
    void eraseNVData(Completion completion) override;
    void syncFileSystem(bool waitForCompletion, Completion completion) override;
    void controlPowerLog(PowerLog log, PowerLogAction action, Completion completion) override;
    void simulatePowerNotification(std::uint32_t message, Completion completion) override;
    void runDiagnostics(const std::string& type, const xpc::Object& options, Completion completion) override;
    void abortDiagnostics(Completion completion) override;
    void getStatistics(Completion completion) override;
    void collectSnapshot(SnapshotCompletion completion) override;

private:
    void resetBegins(const ResetRequest& request) override;
    void bootStateChanged(simulated::BootState state) override;
    void operatingModeChanged(OperatingMode mode) override;
    void selfTestProgressed(const xpc::Object& event) override;
    void selfTestEnded(simulated::RFSelfTest::Outcome outcome, const xpc::Object& event) override;

    void beginSelfTest(const simulated::RFSelfTestOptions& options, const PendingAnswerPtr& answer);
    void tell(const char* event, const xpc::Object& payload);
    xpc::Object state() const;

    BasebandStorage& storage_;
    BasebandListener* listener_ = nullptr;  ///< nullptr once stopped

    simulated::NVData nvData_;
    simulated::BasebandClock clock_;
    simulated::BasebandStatistics statistics_;
    simulated::WakeReasons wakeReasons_;
    simulated::PowerLogs powerLogs_;
    simulated::RFSelfTest selfTest_;
    simulated::FileSystemSync fileSystemSync_;
    simulated::StateMachine stateMachine_;
};

}  // namespace corvane
