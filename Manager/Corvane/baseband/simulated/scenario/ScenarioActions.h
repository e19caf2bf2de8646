#pragma once

#include "Corvane/baseband/simulated/scenario/Scenario.h"

#include <span>
#include <string_view>
#include <vector>

namespace corvane::simulated {

class BasebandClock;
class DiagSource;
class RFSelfTest;
class StalledTraces;
class StateMachine;

/// The parts of the simulated baseband that a scenario acts on.
struct ScenarioStage {
    StateMachine& stateMachine;
    BasebandClock& clock;
    DiagSource& diag;
    RFSelfTest& selfTest;
    StalledTraces& stalledTraces;
};

/// A key of a step, and what it takes.
struct ScenarioKey {
    enum class Form {
        Number,  ///< `lowest` to `highest`
        Whole,   ///< the same, without a fraction
        Text,    ///< printable, 1 to 200 bytes
        Choice,  ///< one of `choices`
    };
    const char* name;
    Form form;
    double lowest = 0;
    double highest = 0;
    std::vector<std::string> choices = {};
    ScenarioValues::mapped_type fallback = {};
    bool mandatory = true;

    /// "a whole number from 1 to 1000"
    std::string acceptable() const;
};

struct ScenarioAction {
    const char* name;
    std::vector<ScenarioKey> keys;
    /// @return false when there was nothing to act on, such as a baseband that is off.
    bool (*carryOut)(const ScenarioStage& stage, const ScenarioValues& values);
};

std::span<const ScenarioAction> scenarioActions();
/// What a step may come after, beside another step.
std::span<const std::string_view> scenarioEvents();

}  // namespace corvane::simulated
