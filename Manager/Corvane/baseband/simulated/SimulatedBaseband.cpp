#include "Corvane/baseband/simulated/SimulatedBaseband.h"

#include "Corvane/support/ReadableJson.h"
#include "Corvane/support/Values.h"

#include <fmt/format.h>

#include <iterator>
#include <string>
#include <utility>

namespace corvane {
namespace {

using simulated::BasebandStatistics;
using simulated::RFSelfTest;

constexpr const char* kFirmwareVersion = "Simulated-1.0.0";
/// Of a reset's reason and sub type: what is kept and told of a text that a client may have made as long as a packet.
constexpr std::size_t kLongestReason = 256;

const char* nameOf(ResetType type) {
    return type == ResetType::Hard ? "hard" : "soft";
}

}  // namespace

SimulatedBaseband::SimulatedBaseband(Loop& loop, SettingsStore& store, const simulated::Durations& durations)
    : nvData_(store),
      statistics_(store),
      wakeReasons_(store, clock_),
      powerLogs_(store, nvData_, clock_),
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

void SimulatedBaseband::getBootState(Completion<BootStatus> completion) {
    completion(BootStatus{.state = stateMachine_.bootState(), .wantedMode = wantedMode_});
}

void SimulatedBaseband::getOperatingMode(Completion<OperatingMode> completion) {
    completion(stateMachine_.operatingMode());
}

void SimulatedBaseband::getVersion(Completion<BasebandVersion> completion) {
    completion(BasebandVersion{kFirmwareVersion});
}

void SimulatedBaseband::getTime(Completion<BasebandTime> completion) {
    stateMachine_.whenReady([this, completion = std::move(completion)](const Result<void>& ready) {
        completion(ready ? Result(BasebandTime{clock_.text()}) : ready.refusal());
    });
}

void SimulatedBaseband::getWakeReason(Completion<WakeReason> completion) {
    completion(wakeReasons_.last());
}

void SimulatedBaseband::setOperatingMode(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion) {
    const auto changed = [this, mode, done = std::move(completion)](Result<void> result) {
        if (result && stateMachine_.operatingMode() == mode) {
            wantedMode_ = mode;
        }
        done(std::move(result));
    };
    stateMachine_.setOperatingMode(mode, timeout, changed);
}

void SimulatedBaseband::reset(const ResetRequest& request, Completion<void> completion) {
    stateMachine_.reset({request.type, request.subType.substr(0, kLongestReason), request.reason.substr(0, kLongestReason)},
                        std::move(completion));
}

void SimulatedBaseband::eraseNVData(Completion<void> completion) {
    if (const auto erased = nvData_.erase(); !erased) {
        completion(erased);
        return;
    }
    statistics_.count(BasebandStatistics::Count::NVDataErasures);
    completion({});
}

void SimulatedBaseband::syncFileSystem(bool waitForCompletion, Completion<void> completion) {
    stateMachine_.whenReady([this, waitForCompletion, completion = std::move(completion)](const Result<void>& ready) {
        if (!ready) {
            completion(ready);
            return;
        }
        statistics_.count(BasebandStatistics::Count::FileSystemSyncs);
        fileSystemSync_.begin(waitForCompletion, completion);
    });
}

void SimulatedBaseband::controlPowerLog(PowerLog log, PowerLogAction action, Completion<void> completion) {
    const Result<void> done = powerLogs_.control(log, action);
    if (done && action == PowerLogAction::Dump) {
        statistics_.count(BasebandStatistics::Count::PowerLogDumps);
    }
    completion(done);
}

void SimulatedBaseband::simulatePowerNotification(std::uint32_t message, Completion<void> completion) {
    const auto notified = wakeReasons_.notify(message, stateMachine_.bootState() == BootState::Off);
    if (!notified) {
        completion(notified.refusal());
        return;
    }
    statistics_.count(BasebandStatistics::Count::PowerNotifications);
    if (notified->wokenByBaseband) {
        statistics_.count(BasebandStatistics::Count::Wakes);
    }
    powerLogs_.powerNotification(notified->meaning);
    completion({});
}

void SimulatedBaseband::runSelfTest(const RFSelfTestOptions& options, Completion<RFSelfTestEvent> completion) {
    stateMachine_.whenReady([this, options, completion = std::move(completion)](const Result<void>& ready) {
        if (ready) {
            beginSelfTest(options, completion);
        } else {
            completion(ready.refusal());
        }
    });
}

void SimulatedBaseband::beginSelfTest(const RFSelfTestOptions& options, Completion<RFSelfTestEvent> completion) {
    if (selfTest_.isRunning()) {
        completion(Refusal::busy("An RF self-test is running; the next one is accepted when it has ended or was aborted."));
        return;
    }
    const OperatingMode mode = stateMachine_.operatingMode();
    if (!simulated::isRadioUsable(mode)) {
        completion(Refusal::wrongState(fmt::format("The RF self-test can't transmit in operating mode {}; it runs in modes {}.",
                                                   describe(mode), simulated::modesWithRadio())));
        return;
    }
    powerLogs_.selfTest("begins", true);
    selfTest_.run(options, nvData_.calibrationSeed(), std::move(completion));
}

void SimulatedBaseband::abortSelfTest(Completion<void> completion) {
    if (!selfTest_.isRunning()) {
        completion(Refusal::wrongState("No diagnostics test is running; abort is accepted while one is."));
        return;
    }
    selfTest_.abort("on request");
    completion({});
}

void SimulatedBaseband::getStatistics(Completion<xpc::Object> completion) {
    completion(statistics_.toDictionary());
}

void SimulatedBaseband::collectSnapshot(Completion<SnapshotFiles> completion) {
    completion(
        SnapshotFiles{{"baseband.json", readableJson(state())}, powerLogs_.file(PowerLog::NPA), powerLogs_.file(PowerLog::F3)});
}

xpc::Object SimulatedBaseband::state() const {
    return dictionary({{"BasebandVersion", text(kFirmwareVersion)},
                       {"BootState", text(nameOf(stateMachine_.bootState()))},
                       {"OperatingMode", text(describe(stateMachine_.operatingMode()))},
                       {"Time", text(clock_.text())},
                       {"LastWake", wakeReasons_.toDictionary()},
                       {"NVData", nvData_.toDictionary()},
                       {"Statistics", statistics_.toDictionary()}});
}

void SimulatedBaseband::resetBegins(const ResetRequest& request) {
    const std::string why = fmt::format("by a {} reset", nameOf(request.type));
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
        listener_->basebandLog(fmt::format("A {} reset begins: {}", nameOf(request.type), request.reason));
    }
}

void SimulatedBaseband::bootStateChanged(BootState state) {
    wantedMode_.reset();
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
    if (listener_ != nullptr) {
        listener_->bootStateChanged({state});
    }
}

void SimulatedBaseband::operatingModeChanged(OperatingMode mode) {
    if (stateMachine_.bootState() == BootState::Ready) {
        const std::string why = "by a change to operating mode " + describe(mode);
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
    if (listener_ != nullptr) {
        listener_->operatingModeChanged(mode);
    }
}

void SimulatedBaseband::selfTestProgressed(const RFSelfTestEvent& event) {
    if (listener_ != nullptr) {
        listener_->selfTestProgressed(event);
    }
}

void SimulatedBaseband::selfTestEnded(RFSelfTest::Outcome outcome, const RFSelfTestEvent& event) {
    constexpr const char* kEnds[] = {"passed", "failed", "aborted"};
    static_assert(std::size(kEnds) == static_cast<std::size_t>(RFSelfTest::Outcome::Aborted) + 1);
    powerLogs_.selfTest(kEnds[static_cast<std::size_t>(outcome)], false);
    statistics_.countSelfTest(outcome);
    selfTestProgressed(event);
}

}  // namespace corvane
