#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/requests/Erasure.h"
#include "Corvane/requests/Statistics.h"
#include "Corvane/support/Log.h"
#include "Corvane/traces/DiagTrace.h"
#include "Corvane/traces/ScratchLog.h"
#include "Corvane/traces/SystemJournal.h"
#include "Corvane/traces/TraceFilters.h"
#include "Corvane/traces/TraceLogs.h"
#include "Corvane/traces/TraceSettings.h"
#include "Corvane/traces/TraceSwitches.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace corvane {

/// What the commands work on: the settings, the logs, the figures and the baseband, and what concerns several of them.
class Services : public BasebandListener {
public:
    using OnEvent = std::function<void(const char* event, const xpc::Object& payload)>;

    /// @param store and @param loop outlive this. @param stateFolder where the logs go.
    Services(SettingsStore& store, const std::filesystem::path& stateFolder, Loop& loop, DiagTrace::StreamAccess streamAccess);
    ~Services() override;

    /// @param onEvent hears what every client that watches is to be told.
    void start(std::unique_ptr<Baseband> baseband, OnEvent onEvent);
    /// Answers everything that waits.
    void stop();

    /// Whether the baseband may be reset now.
    static Result<void> allowReset();
    void unblockResets(const Completion<void>& done);
    /// Completes with success when the baseband is ready again; that is counted. A refusal when resets are blocked.
    void reset(const ResetRequest& request, Completion<void> completion);
    /// Erases the baseband's non-volatile data and puts every setting back to its default.
    void erase(const Completion<void>& done) {
        write([this, done] { erasure_.run(*baseband_, done); });
    }
    /// Queues `change`, which waits for the disk, so that a client that only asks waits for one of them at most. Changes that
    /// have to keep their order go through here too.
    void write(std::function<void()> change) { group_.run(std::move(change)); }
    /// Completes with the folder when it is written.
    void collectTraceLogs(const std::string& reason, Completion<std::filesystem::path> completion);

    TraceSettings& traceSettings() { return traceSettings_; }
    TraceFilters& traceFilters() { return traceFilters_; }
    SettingsStore& store() { return store_; }
    CommandFigures& commandFigures() { return commandFigures_; }
    ClientFigures& clientFigures() { return clientFigures_; }
    xpc::Object traceBytes() const { return traceRecorders_.bytes(); }
    Baseband& baseband() { return *baseband_; }

    void bootStateChanged(const BootStatus& status) override;
    void operatingModeChanged(OperatingMode mode) override;
    void selfTestProgressed(const RFSelfTestEvent& event) override;
    void traceRecorded(const TraceRecord& record) override;
    void sleepChanged(bool asleep) override { diagTrace_.sleepChanged(asleep); }
    void basebandLog(std::string_view sentence) override { log::info(sentence); }

private:
    void prepareSetting(const TraceProperty& property, std::string_view value, Completion<void> done);
    void settingChanged(const TraceProperty& property, const std::string& value);
    /// What the manager adds to a snapshot.
    SnapshotFile describe(const std::string& reason, const std::string& basebandVersion);
    void checkJournal();
    /// Adds the system's journal when it is to be recorded.
    void addJournal(SnapshotFiles files, const std::function<void(SnapshotFiles files)>& then);
    void finishCollection(SnapshotFiles files, const Completion<std::filesystem::path>& completion);
    void syncCollection(const std::shared_ptr<TraceLogs::Written>& written, const Completion<std::filesystem::path>& completion);
    /// For a trace that has stalled.
    void resetStalledBaseband();

    SettingsStore& store_;
    const std::chrono::system_clock::time_point started_ = std::chrono::system_clock::now();
    GroupCommit group_;
    TraceSettings traceSettings_;
    TraceFilters traceFilters_;
    Erasure erasure_;
    CommandFigures commandFigures_;
    ClientFigures clientFigures_;
    ScratchLog scratchLog_;
    log::Copy logCopy_{[this](std::string_view line) { scratchLog_.write(line); }};
    TraceRecorders traceRecorders_;
    TraceLogs traceLogs_;
    SystemJournal journal_;
    TraceSwitches traceSwitches_;
    DiagTrace diagTrace_;
    OnEvent onEvent_;
    std::unique_ptr<Baseband> baseband_;
};

}  // namespace corvane
