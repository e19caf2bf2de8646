#include "Corvane/baseband/simulated/SimulatedBaseband.h"

#include "Corvane/baseband/simulated/CoreDump.h"
#include "Corvane/support/Json.h"

#include <fmt/format.h>

#include <iterator>
#include <string>

// What happens in the baseband by itself, or in the course of a command.
namespace corvane {
namespace {

using simulated::BasebandStatistics;
using simulated::RFSelfTest;

const char* nameOf(ResetType type) {
    return type == ResetType::Hard ? "hard" : "soft";
}

}  // namespace

void SimulatedBaseband::tellScenario(std::string_view event) {
    if (scenario_) {
        scenario_->happened(event);
    }
}

void SimulatedBaseband::goDown(const std::string& why) {
    stalledTraces_.endAll();
    selfTest_.abort(why);
    fileSystemSync_.interrupt(why);
    if (wakeReasons_.resetBegins()) {
        statistics_.count(BasebandStatistics::Count::Wakes);
        sleepChanged("baseband reset", false);
    }
}

void SimulatedBaseband::resetBegins(const ResetRequest& request) {
    const std::string kind = nameOf(request.type) + std::string(" reset");
    goDown("by a " + kind);
    statistics_.countReset(request, clock_.text());
    diag_.resetBegins(request);
    if (request.type == ResetType::Hard) {
        powerLogs_.forget();
    }
    tellScenario(kind);
    listener_->basebandLog(fmt::format("A {} begins: {}", kind, request.reason));
}

void SimulatedBaseband::crashed(const std::string& reason) {
    goDown("by a crash of the baseband");
    statistics_.countCrash(reason, clock_.text());
    link_.event("crash", reason);
    diag_.crashed(reason);
    if (leavesCoreDumps_) {
        record(
            {ryn::trace::Type::CoreDump, std::chrono::system_clock::now(), simulated::coreDump(reason, readableJson(state()))});
    }
    tellScenario("crash");
    listener_->basebandLog("The baseband has crashed: " + reason);
}

void SimulatedBaseband::hung() {
    selfTest_.abort("because the baseband hangs");
    fileSystemSync_.interrupt("because the baseband hangs");
    diag_.hung();
}

void SimulatedBaseband::bootStateChanged(BootState state) {
    wantedMode_.reset();
    if (state == BootState::Booting) {
        clock_.setFromHost();
    }
    link_.event("boot state", describe(bootStatus()));
    powerLogs_.bootStateChanged(state);
    diag_.bootStateChanged(bootStatus(), stateMachine_.lastBootDuration());
    if (state == BootState::Ready) {
        statistics_.countBoot(stateMachine_.lastBootDuration());
    }
    if (state == BootState::Off) {
        using Count = BasebandStatistics::Count;
        statistics_.count(stateMachine_.bootFailure().empty() ? Count::Shutdowns : Count::FailedBoots);
        powerLogs_.forget();
    }
    tellScenario(nameOf(state));
    listener_->bootStateChanged(bootStatus());
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
        clock_.setFromNetwork();
    }
    link_.event("operating mode", describe(mode));
    powerLogs_.operatingModeChanged(mode);
    diag_.operatingModeChanged(mode);
    tellScenario(fmt::format("mode {}", static_cast<int>(mode)));
    listener_->operatingModeChanged(mode);
}

void SimulatedBaseband::selfTestProgressed(const RFSelfTestEvent& event) {
    constexpr const char* kEnds[] = {"passed", "failed", "aborted"};
    using Outcome = RFSelfTest::Outcome;
    static_assert(std::size(kEnds) == static_cast<std::size_t>(Outcome::Aborted) + 1);
    if (event.status != RFSelfTestEvent::Status::Running) {
        const auto outcome = !event.result ? Outcome::Aborted : event.result->passed() ? Outcome::Passed : Outcome::Failed;
        powerLogs_.selfTest(kEnds[static_cast<std::size_t>(outcome)], false);
        diag_.selfTest(kEnds[static_cast<std::size_t>(outcome)]);
        statistics_.countSelfTest(outcome);
    }
    listener_->selfTestProgressed(event);
}

}  // namespace corvane
