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
      link_([this](const TraceRecord& exchange) { record(exchange); }),
      diag_(loop, nvData_.calibrationSeed(), [this](const TraceRecord& message) { record(message); }),
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
    link_.command("get boot state");
    completion(BootStatus{.state = stateMachine_.bootState(), .wantedMode = wantedMode_});
}

void SimulatedBaseband::getOperatingMode(Completion<OperatingMode> completion) {
    link_.command("get operating mode");
    completion(stateMachine_.operatingMode());
}

void SimulatedBaseband::getVersion(Completion<BasebandVersion> completion) {
    link_.command("get version");
    completion(BasebandVersion{kFirmwareVersion});
}

void SimulatedBaseband::getTime(Completion<BasebandTime> completion) {
    link_.command("get time");
    stateMachine_.whenReady([this, completion = std::move(completion)](const Result<void>& ready) {
        completion(ready ? Result(BasebandTime{clock_.text()}) : ready.refusal());
    });
}

void SimulatedBaseband::getWakeReason(Completion<WakeReason> completion) {
    link_.command("get wake reason");
    completion(wakeReasons_.last());
}

void SimulatedBaseband::setOperatingMode(OperatingMode mode, std::chrono::seconds timeout, Completion<void> completion) {
    link_.command("set operating mode", describe(mode));
    const auto changed = [this, mode, done = std::move(completion)](Result<void> result) {
        if (result && stateMachine_.operatingMode() == mode) {
            wantedMode_ = mode;
        }
        done(std::move(result));
    };
    stateMachine_.setOperatingMode(mode, timeout, changed);
}

void SimulatedBaseband::reset(const ResetRequest& request, Completion<void> completion) {
    link_.command(request.type == ResetType::Hard ? "hard reset" : "soft reset", request.reason.substr(0, kLongestReason));
    stateMachine_.reset({request.type, request.subType.substr(0, kLongestReason), request.reason.substr(0, kLongestReason)},
                        std::move(completion));
}

void SimulatedBaseband::eraseNVData(Completion<void> completion) {
    link_.command("erase non-volatile data");
    if (const auto erased = nvData_.erase(); !erased) {
        completion(erased);
        return;
    }
    statistics_.count(BasebandStatistics::Count::NVDataErasures);
    completion({});
}

void SimulatedBaseband::syncFileSystem(bool waitForCompletion, Completion<void> completion) {
    link_.command("sync remote filesystem");
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
    link_.command("power log", log == PowerLog::NPA ? "NPA" : "F3");
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
    link_.command("power notification", notified->meaning);
    powerLogs_.powerNotification(notified->meaning);
    sleepChanged(notified->meaning, notified->sleeps);
    completion({});
}

void SimulatedBaseband::runSelfTest(const RFSelfTestOptions& options, Completion<RFSelfTestEvent> completion) {
    link_.command("run self-test");
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
    diag_.selfTest("begins");
    selfTest_.run(options, nvData_.calibrationSeed(), std::move(completion));
}

void SimulatedBaseband::abortSelfTest(const std::string& why, Completion<void> completion) {
    if (!selfTest_.isRunning()) {
        completion(Refusal::wrongState("No diagnostics test is running; abort is accepted while one is."));
        return;
    }
    link_.command("abort self-test");
    selfTest_.abort(why);
    completion({});
}

void SimulatedBaseband::getStatistics(Completion<xpc::Object> completion) {
    link_.command("get statistics");
    completion(statistics_.toDictionary());
}

void SimulatedBaseband::collectSnapshot(Completion<SnapshotFiles> completion) {
    completion(
        SnapshotFiles{{"baseband.json", readableJson(state())}, powerLogs_.file(PowerLog::NPA), powerLogs_.file(PowerLog::F3)});
}

void SimulatedBaseband::sleepChanged(const char* why, bool asleep) {
    diag_.powerNotification(why, asleep);
    if (listener_ != nullptr) {
        listener_->sleepChanged(asleep);
    }
}

bool SimulatedBaseband::canRecord(ryn::trace::Type trace) const {
    using ryn::trace::Type;
    return trace == Type::DIAG || trace == Type::TEMS || simulated::Link::carries(trace);
}

void SimulatedBaseband::switchTrace(ryn::trace::Type trace, bool on, Completion<void> completion) {
    if (trace == ryn::trace::Type::TEMS) {
        diag_.setMeasuring(on);
    } else if (simulated::Link::carries(trace)) {
        link_.switchTrace(trace, on);
    }
    completion({});
}

void SimulatedBaseband::record(const TraceRecord& record) {
    if (record.trace == ryn::trace::Type::DIAG) {
        link_.message(record.content.size());
    }
    if (listener_ != nullptr) {
        listener_->traceRecorded(record);
    }
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
        sleepChanged("baseband reset", false);
    }
    diag_.resetBegins(request);
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
    link_.event("boot state", nameOf(state));
    powerLogs_.bootStateChanged(state);
    diag_.bootStateChanged(state, stateMachine_.lastBootDuration());
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
    link_.event("operating mode", describe(mode));
    powerLogs_.operatingModeChanged(mode);
    diag_.operatingModeChanged(mode);
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
    diag_.selfTest(kEnds[static_cast<std::size_t>(outcome)]);
    statistics_.countSelfTest(outcome);
    selfTestProgressed(event);
}

}  // namespace corvane
