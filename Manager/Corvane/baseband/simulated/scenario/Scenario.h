#pragma once

#include "Corvane/support/Result.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace corvane::simulated {

struct ScenarioAction;

/// What a step's action is told, by key: numbers and texts, checked against the action's keys, defaults filled in.
using ScenarioValues = std::map<std::string, std::variant<double, std::string>, std::less<>>;

/// Something that goes wrong, or right again.
struct ScenarioStep {
    std::string name;                 ///< other steps refer to; may be empty
    std::string after;                ///< the event or the step to wait for; empty: the start
    std::chrono::milliseconds delay;  ///< from then on
    const ScenarioAction* action = nullptr;
    ScenarioValues values;
};

/// A script for the simulated baseband.
struct Scenario {
    std::uint64_t seed = 1;                     ///< of all measurements
    std::chrono::milliseconds silence{10'000};  ///< without a message of a trace, that is taken for a stall
    std::vector<ScenarioStep> steps;
};

/// Reads a file and checks all of it. A refusal is a clause with the place in the file.
Result<Scenario> readScenario(const std::string& path);
/// @param name of the file, for the refusal.
Result<Scenario> parseScenario(const std::string& name, std::string_view text);

}  // namespace corvane::simulated
