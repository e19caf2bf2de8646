#include "Corvane/baseband/simulated/SimulatedBaseband.h"

#include "Corvane/support/Json.h"
#include "Corvane/support/Values.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace corvane {
namespace {

using simulated::BasebandStatistics;

constexpr const char* kFirmwareVersion = "Simulated-1.0.0";
/// Of a reset's reason and sub type: what is kept and told of a text that a client may have made as long as a packet.
constexpr std::size_t kLongestReason = 256;

/// The modes in which the RF self-test may transmit.
constexpr OperatingMode kWithRadio[] = {OperatingMode::Online, OperatingMode::LowPower, OperatingMode::FactoryTest};

}  // namespace

SimulatedBaseband::SimulatedBaseband(Loop& loop, SettingsStore& store, const std::optional<simulated::Scenario>& scenario)
    : seed_(scenario ? std::optional(scenario->seed) : std::nullopt),
      longestSilence_(scenario ? scenario->silence : Baseband::longestSilence()),
      nvData_(store),
      statistics_(store),
      wakeReasons_(store, clock_),
      powerLogs_(store, nvData_, clock_),
      link_([this](const TraceRecord& exchange) { record(exchange); }),
      stalledTraces_(loop),
      diag_(loop, seed(), [this](const TraceRecord& message) { record(message); }),
      selfTest_(loop, [this](const RFSelfTestEvent& event) { selfTestProgressed(event); }),
      fileSystemSync_(loop, nvData_, clock_),
      stateMachine_(loop, nvData_, *this) {
    if (scenario) {
        const simulated::ScenarioStage stage{stateMachine_, clock_, diag_, selfTest_, stalledTraces_};
        scenario_ = std::make_unique<simulated::ScenarioPlayer>(
            loop, *scenario, stage, [this](const std::string& sentence) { listener_->basebandLog(sentence); });
    }
}

void SimulatedBaseband::start(BasebandListener& listener) {
    listener_ = &listener;
    if (scenario_) {
        scenario_->start();
    }
    stateMachine_.start();
}

void SimulatedBaseband::stop() {
    listener_ = &nobody;
    scenario_.reset();
    selfTest_.abort("because the manager is stopping");
    fileSystemSync_.interrupt("because the manager is stopping");
    stateMachine_.stop();
}

void SimulatedBaseband::getBootState(Completion<BootStatus> completion) {
    link_.command("get boot state");
    completion(bootStatus());
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
    const auto answering = stateMachine_.checkAnswering();
    if (const auto erased = answering ? nvData_.erase() : answering; !erased) {
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
    const Result<void> answering = stateMachine_.checkAnswering();
    const Result<void> done = answering ? powerLogs_.control(log, action) : answering;
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
    if (std::ranges::find(kWithRadio, mode) == std::end(kWithRadio)) {
        completion(Refusal::wrongState(fmt::format("The RF self-test can't transmit in operating mode {}; it runs in modes {}.",
                                                   describe(mode), enumerate(kWithRadio))));
        return;
    }
    powerLogs_.selfTest("begins", true);
    diag_.selfTest("begins");
    selfTest_.run(options, seed(), std::move(completion));
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
    completion(statistics());
}

void SimulatedBaseband::collectSnapshot(Completion<SnapshotFiles> completion) {
    completion(
        SnapshotFiles{{"baseband.json", readableJson(state())}, powerLogs_.file(PowerLog::NPA), powerLogs_.file(PowerLog::F3)});
}

void SimulatedBaseband::sleepChanged(const char* why, bool asleep) {
    diag_.powerNotification(why, asleep);
    listener_->sleepChanged(asleep);
}

bool SimulatedBaseband::canRecord(ryn::trace::Type trace) const {
    using ryn::trace::Type;
    return trace == Type::DIAG || trace == Type::TEMS || trace == Type::CoreDump || simulated::Link::carries(trace);
}

void SimulatedBaseband::switchTrace(ryn::trace::Type trace, bool on, Completion<void> completion) {
    if (trace == ryn::trace::Type::TEMS) {
        diag_.setMeasuring(on);
    } else if (trace == ryn::trace::Type::CoreDump) {
        leavesCoreDumps_ = on;
    } else if (simulated::Link::carries(trace)) {
        link_.switchTrace(trace, on);
    }
    completion({});
}

/// New settings end a stall of the DIAG trace; holding it for a snapshot, and letting it go on, doesn't.
void SimulatedBaseband::configureDiag(const DiagSettings& settings) {
    if (std::exchange(holdsDiag_, settings.hold) == settings.hold) {
        stalledTraces_.end(ryn::trace::Type::DIAG);
    }
    diag_.configure(settings);
}

void SimulatedBaseband::record(const TraceRecord& record) {
    if (stalledTraces_.contains(record.trace)) {
        return;
    }
    if (record.trace == ryn::trace::Type::DIAG) {
        link_.message(record.content.size());
    }
    listener_->traceRecorded(record);
}

xpc::Object SimulatedBaseband::state() const {
    return dictionary({{"BasebandVersion", text(kFirmwareVersion)},
                       {"BootState", text(describe(bootStatus()))},
                       {"OperatingMode", text(describe(stateMachine_.operatingMode()))},
                       {"Time", text(clock_.text())},
                       {"LastWake", wakeReasons_.toDictionary()},
                       {"NVData", nvData_.toDictionary()},
                       {"Statistics", statistics()}});
}

xpc::Object SimulatedBaseband::statistics() const {
    xpc::Object all = statistics_.toDictionary();
    setAll(all, diag_.service());
    return all;
}

BootStatus SimulatedBaseband::bootStatus() const {
    const std::string& failure = stateMachine_.bootFailure();
    return {stateMachine_.bootState(), failure.empty() ? "" : "boot-failed", failure, wantedMode_};
}

}  // namespace corvane
