#include "Corvane/baseband/simulated/scenario/ScenarioActions.h"

#include "Corvane/baseband/simulated/BasebandClock.h"
#include "Corvane/baseband/simulated/RFSelfTest.h"
#include "Corvane/baseband/simulated/StalledTraces.h"
#include "Corvane/baseband/simulated/StateMachine.h"
#include "Corvane/baseband/simulated/diag/DiagSource.h"
#include "Corvane/support/Text.h"

#include <fmt/format.h>

#include <cmath>

namespace corvane::simulated {
namespace {

using Form = ScenarioKey::Form;
using Stage = ScenarioStage;
using Values = ScenarioValues;

constexpr double kDay = 86400;

double numberOf(const Values& values, const char* key) {
    return std::get<double>(values.at(key));
}

int wholeOf(const Values& values, const char* key) {
    return static_cast<int>(numberOf(values, key));
}

const std::string& textOf(const Values& values, const char* key) {
    return std::get<std::string>(values.at(key));
}

std::chrono::milliseconds secondsOf(const Values& values) {
    return std::chrono::milliseconds(std::llround(1000 * numberOf(values, "seconds")));
}

ryn::trace::Type traceOf(const Values& values) {
    ryn::trace::Type trace{};
    ryn::trace::stringAsType(textOf(values, "trace"), trace);
    return trace;
}

const ScenarioKey kTimes{"times", Form::Whole, 1, 1000, {}, 1.0, false};

template <auto set, bool value>
bool setDiag(const Stage& stage, const Values& /*none*/) {
    (stage.diag.*set)(value);
    return true;
}

bool jumpTime(const Stage& stage, const Values& values) {
    stage.clock.jumpNetworkTime(secondsOf(values));
    if (stage.stateMachine.operatingMode() == OperatingMode::Online) {
        stage.clock.setFromNetwork();
        stage.diag.clockJumped(stage.clock.text());
    }
    return true;
}

bool failSelfTest(const Stage& stage, const Values& values) {
    stage.selfTest.failNext(textOf(values, "port") == "A" ? Port::A : Port::B, static_cast<unsigned>(wholeOf(values, "times")));
    return true;
}

const std::vector<ScenarioAction>& table() {
    static const std::vector<ScenarioAction> kActions = {
        {"crash",
         {{.name = "reason", .form = Form::Text, .fallback = "assertion failed", .mandatory = false}},
         [](const Stage& stage, const Values& values) { return stage.stateMachine.crash(textOf(values, "reason")); }},
        {"fail-boot",
         {kTimes},
         [](const Stage& stage, const Values& values) {
             stage.stateMachine.failBoots(static_cast<unsigned>(wholeOf(values, "times")));
             return true;
         }},
        {"fail-every-boot",
         {},
         [](const Stage& stage, const Values&) {
             stage.stateMachine.failBoots(StateMachine::kEveryBoot);
             return true;
         }},
        {"hang", {}, [](const Stage& stage, const Values&) { return stage.stateMachine.hang(); }},
        {"slow-mode-change",
         {{"seconds", Form::Number, 0, 3600}},
         [](const Stage& stage, const Values& values) {
             stage.stateMachine.setModeChangeDuration(secondsOf(values));
             return true;
         }},
        {"remove-sim", {}, setDiag<&DiagSource::setSimPresent, false>},
        {"insert-sim", {}, setDiag<&DiagSource::setSimPresent, true>},
        {"lose-registration", {}, setDiag<&DiagSource::setServed, false>},
        {"find-registration", {}, setDiag<&DiagSource::setServed, true>},
        {"fade-signal",
         {{"dBm", Form::Whole, -140, -44}, {"seconds", Form::Whole, 0, kDay, {}, 0.0, false}},
         [](const Stage& stage, const Values& values) {
             stage.diag.fade(wholeOf(values, "dBm"), wholeOf(values, "seconds"));
             return true;
         }},
        {"jump-time", {{"seconds", Form::Number, -1e9, 1e9}}, jumpTime},
        {"fail-self-test", {{.name = "port", .form = Form::Choice, .choices = {"A", "B"}}, kTimes}, failSelfTest},
        {"stall-trace",
         {{.name = "trace", .form = Form::Choice, .choices = {"DIAG", "BasebandIPC", "KernelPCI", "TEMS"}},
          {"seconds", Form::Number, 0.001, kDay}},
         [](const Stage& stage, const Values& values) {
             stage.stalledTraces.stall(traceOf(values), secondsOf(values));
             return true;
         }},
    };
    return kActions;
}

}  // namespace

std::string ScenarioKey::acceptable() const {
    switch (form) {
        case Form::Number:
            return fmt::format("a number from {} to {}", lowest, highest);
        case Form::Whole:
            return fmt::format("a whole number from {} to {}", lowest, highest);
        case Form::Text:
            return "a text of 1 to 200 printable bytes";
        case Form::Choice:
            return listed(choices, " or ", [](const std::string& choice) { return '"' + choice + '"'; });
    }
    return {};
}

std::span<const ScenarioAction> scenarioActions() {
    return table();
}

std::span<const std::string_view> scenarioEvents() {
    static constexpr std::string_view kEvents[] = {"Off",        "Booting", "Ready",  "Resetting", "soft reset",
                                                   "hard reset", "crash",   "mode 0", "mode 1",    "mode 2",
                                                   "mode 3",     "mode 4",  "mode 5", "mode 6",    "mode 7"};
    return kEvents;
}

}  // namespace corvane::simulated
