#include "Corvane/baseband/simulated/SimulatedBaseband.h"

#include "Corvane/support/ReadableJson.h"
#include "Corvane/support/Values.h"
#include "config/Diagnostics.h"
#include "platform/ryn/constants.h"

#include <memory>
#include <string>
#include <utility>

namespace corvane {
namespace {

using simulated::BasebandStatistics;
using simulated::BootState;
using simulated::RFSelfTest;

constexpr const char* kFirmwareVersion = "Simulated-1.0.0";
/// Where the last event of the last self-test is stored.
constexpr const char* kLastSelfTest = "baseband.selftest";

Answer refused(ResultCode code, std::string sentence) {
    return {Refusal{code, std::move(sentence)}, {}};
}

/// Of a reset's reason and sub type: what is kept and told of a text that a client may have made as long as a packet.
constexpr std::size_t kLongestReason = 256;

const char* nameOf(ResetType type) {
    return type == ResetType::Hard ? "hard" : "soft";
}

}  // namespace

SimulatedBaseband::SimulatedBaseband(Loop& loop, BasebandStorage& storage, const simulated::Durations& durations)
    : storage_(storage),
      nvData_(storage),
      statistics_(storage),
      wakeReasons_(storage, clock_),
      powerLogs_(storage, nvData_, clock_),
      selfTest_(loop, durations.selfTest, *this),
      fileSystemSync_(loop, durations.fileSystemSync, nvData_, clock_),
      stateMachine_(loop, durations, nvData_, *this) {}

void SimulatedBaseband::start(BasebandListener& listener) {
    listener_ = &listener;
    stateMachine_.start();
}

void SimulatedBaseband::stop() {
    listener_ = nullptr;
    selfTest_.abort("because the manager is stopping");
    fileSystemSync_.interrupt("because the manager is stopping");
    stateMachine_.stop();
}

void SimulatedBaseband::getVersion(Completion completion) {
    completion({{}, dictionary({{ryn::kKeyBasebandVersion, text(kFirmwareVersion)}})});
}

void SimulatedBaseband::getBootState(Completion completion) {
    completion({{}, dictionary({{ryn::kKeyBasebandBootState, text(simulated::nameOf(stateMachine_.bootState()))}})});
}

void SimulatedBaseband::getOperatingMode(Completion completion) {
    const auto mode = static_cast<std::int64_t>(stateMachine_.operatingMode());
    completion({{}, dictionary({{ryn::kKeyBasebandOperatingMode, number(mode)}})});
}

void SimulatedBaseband::setOperatingMode(std::int64_t mode, std::chrono::seconds timeout, Completion completion) {
    stateMachine_.setOperatingMode(mode, timeout, std::move(completion));
}

void SimulatedBaseband::getTime(Completion completion) {
    stateMachine_.whenReady(std::move(completion), [this](const PendingAnswerPtr& answer) {
        answer->answer({{}, dictionary({{ryn::kKeyBasebandTimeAsString, text(clock_.text())}})});
    });
}

void SimulatedBaseband::getWakeReason(Completion completion) {
    completion({{}, wakeReasons_.toDictionary()});
}

void SimulatedBaseband::reset(const ResetRequest& request, Completion completion) {
    stateMachine_.reset({request.type, request.subType.substr(0, kLongestReason), request.reason.substr(0, kLongestReason)},
                        std::move(completion));
}

void SimulatedBaseband::eraseNVData(Completion completion) {
    if (!nvData_.erase()) {
        completion(refused(ResultCode::StorageFailed, "The non-volatile data could not be erased on disk; nothing has changed."));
        return;
    }
    statistics_.count(BasebandStatistics::Count::NVDataErasures);
    completion({});
}

void SimulatedBaseband::syncFileSystem(bool waitForCompletion, Completion completion) {
    stateMachine_.whenReady(std::move(completion), [this, waitForCompletion](const PendingAnswerPtr& answer) {
        statistics_.count(BasebandStatistics::Count::FileSystemSyncs);
        fileSystemSync_.begin(waitForCompletion, answer);
    });
}

void SimulatedBaseband::controlPowerLog(PowerLog log, PowerLogAction action, Completion completion) {
    auto refusal = powerLogs_.control(log, action);
    if (!refusal && action == PowerLogAction::Dump) {
        statistics_.count(BasebandStatistics::Count::PowerLogDumps);
    }
    completion({std::move(refusal), {}});
}

void SimulatedBaseband::simulatePowerNotification(std::uint32_t message, Completion completion) {
    auto outcome = wakeReasons_.notify(message, stateMachine_.bootState() == BootState::Off);
    if (auto* refusal = std::get_if<Refusal>(&outcome)) {
        completion({std::move(*refusal), {}});
        return;
    }
    const auto& notified = std::get<simulated::WakeReasons::Notified>(outcome);
    statistics_.count(BasebandStatistics::Count::PowerNotifications);
    if (notified.wokenByBaseband) {
        statistics_.count(BasebandStatistics::Count::Wakes);
    }
    powerLogs_.powerNotification(notified.meaning);
    completion({});
}

void SimulatedBaseband::runDiagnostics(const std::string& type, const xpc::Object& options, Completion completion) {
    if (type != ryn::kBasebandDiagnosticsTypeRFSelfTest) {
        completion(refused(ResultCode::InvalidArgument, "There is no diagnostics test '" + type + "'; " +
                                                            ryn::kBasebandDiagnosticsTypeRFSelfTest + " is accepted."));
        return;
    }
    // Read before it waits: what came from a client may take much more memory than what it says.
    auto read = simulated::readRFSelfTestOptions(options);
    if (auto* refusal = std::get_if<Refusal>(&read)) {
        completion({std::move(*refusal), {}});
        return;
    }
    stateMachine_.whenReady(std::move(completion), [this, wanted = std::get<simulated::RFSelfTestOptions>(read)](
                                                       const PendingAnswerPtr& answer) { beginSelfTest(wanted, answer); });
}

void SimulatedBaseband::beginSelfTest(const simulated::RFSelfTestOptions& options, const PendingAnswerPtr& answer) {
    if (selfTest_.isRunning()) {
        answer->refuse(ResultCode::Busy,
                       "An RF self-test is running; the next one is accepted when it has ended or was aborted.");
        return;
    }
    const OperatingMode mode = stateMachine_.operatingMode();
    if (!simulated::ruleOf(mode).radioUsable) {
        answer->refuse(ResultCode::WrongState, "The RF self-test can't transmit in operating mode " + simulated::describe(mode) +
                                                   "; it runs in modes " + simulated::modesWithRadio() + ".");
        return;
    }
    powerLogs_.selfTest("begins", true);
    selfTest_.run(options, nvData_.calibrationSeed(), answer);
}

void SimulatedBaseband::abortDiagnostics(Completion completion) {
    if (!selfTest_.isRunning()) {
        completion(refused(ResultCode::WrongState, "No diagnostics test is running; abort is accepted while one is."));
        return;
    }
    selfTest_.abort("on request");
    completion({{}, dictionary({{ryn::kKeyBasebandDiagnosticsStatus, text(ryn::kBasebandDiagnosticsStatusAborted)}})});
}

void SimulatedBaseband::getStatistics(Completion completion) {
    completion({{}, statistics_.toDictionary()});
}

void SimulatedBaseband::collectSnapshot(SnapshotCompletion completion) {
    std::vector<SnapshotFile> files{
        {"baseband.json", readableJson(state())}, powerLogs_.file(PowerLog::NPA), powerLogs_.file(PowerLog::F3)};
    if (const auto lastSelfTest = storage_.get(kLastSelfTest)) {
        files.push_back({"rf-self-test.json", *lastSelfTest});
    }
    completion(std::move(files));
}

xpc::Object SimulatedBaseband::state() const {
    return dictionary({{"BasebandVersion", text(kFirmwareVersion)},
                       {"BootState", text(simulated::nameOf(stateMachine_.bootState()))},
                       {"OperatingMode", text(simulated::describe(stateMachine_.operatingMode()))},
                       {"Time", text(clock_.text())},
                       {"LastWake", wakeReasons_.toDictionary()},
                       {"NVData", nvData_.toDictionary()},
                       {"Statistics", statistics_.toDictionary()}});
}

void SimulatedBaseband::resetBegins(const ResetRequest& request) {
    const std::string why = std::string("by a ") + nameOf(request.type) + " reset";
    selfTest_.abort(why);
    fileSystemSync_.interrupt(why);
    statistics_.countReset(request, clock_.text());
    if (wakeReasons_.resetBegins()) {
        statistics_.count(BasebandStatistics::Count::Wakes);
    }
    if (request.type == ResetType::Hard) {
        powerLogs_.forget();
    }
    if (listener_ != nullptr) {
        listener_->basebandLog(std::string("A ") + nameOf(request.type) + " reset begins: " + request.reason);
    }
}

void SimulatedBaseband::bootStateChanged(BootState state) {
    if (state == BootState::Booting) {
        clock_.set();
    }
    powerLogs_.bootStateChanged(state);
    if (state == BootState::Ready) {
        statistics_.countBoot(stateMachine_.lastBootDuration());
    }
    if (state == BootState::Off) {
        statistics_.count(BasebandStatistics::Count::Shutdowns);
        powerLogs_.forget();
    }
    const auto payload = dictionary({{ryn::kKeyBasebandBootState, text(simulated::nameOf(state))}});
    tell(ryn::kEventBasebandBootStateChange, payload);
}

void SimulatedBaseband::operatingModeChanged(OperatingMode mode) {
    if (stateMachine_.bootState() == BootState::Ready) {
        const std::string why = "by a change to operating mode " + simulated::describe(mode);
        selfTest_.abort(why);
        if (mode == OperatingMode::ShuttingDown) {
            fileSystemSync_.interrupt(why);
        }
        statistics_.count(BasebandStatistics::Count::ModeChanges);
    }
    if (mode == OperatingMode::Online) {
        clock_.set();
    }
    powerLogs_.operatingModeChanged(mode);
    const auto payload = dictionary({{ryn::kKeyBasebandOperatingMode, number(static_cast<std::int64_t>(mode))}});
    tell(ryn::kEventBasebandOperatingModeChange, payload);
}

void SimulatedBaseband::selfTestProgressed(const xpc::Object& event) {
    tell(ryn::kEventBasebandDiagnostics, event);
}

void SimulatedBaseband::selfTestEnded(RFSelfTest::Outcome outcome, const xpc::Object& event) {
    constexpr const char* kEnds[] = {"passed", "failed", "aborted"};
    powerLogs_.selfTest(kEnds[static_cast<std::size_t>(outcome)], false);
    statistics_.countSelfTest(outcome);
    storage_.put(kLastSelfTest, readableJson(event));
    tell(ryn::kEventBasebandDiagnostics, event);
}

void SimulatedBaseband::tell(const char* event, const xpc::Object& payload) {
    if (listener_ != nullptr) {
        listener_->basebandEvent(event, payload);
    }
}

}  // namespace corvane
