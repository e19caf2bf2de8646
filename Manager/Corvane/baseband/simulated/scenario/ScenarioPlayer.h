#pragma once

#include "Corvane/baseband/simulated/scenario/ScenarioActions.h"
#include "Corvane/loop/Timer.h"

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::simulated {

/// Carries a scenario's steps out, each once: in the order of their times, and of the file where these are the same.
class ScenarioPlayer {
public:
    using Log = std::function<void(const std::string& sentence)>;

    /// @param stage what it refers to outlives this.
    ScenarioPlayer(Loop& loop, Scenario scenario, const ScenarioStage& stage, Log log)
        : scenario_(std::move(scenario)), stage_(stage), log_(std::move(log)), timer_(loop) {}

    /// Begins to count the time. Steps at 0 are carried out before this returns.
    void start();
    /// An event of those in scenarioEvents(), or a step's name, for the steps that come after it.
    void happened(std::string_view event);

private:
    using Clock = std::chrono::steady_clock;

    void add(std::size_t step, Clock::time_point from);
    void carryOutDue();
    void carryOut(std::size_t index);
    void arm();

    const Scenario scenario_;
    const ScenarioStage stage_;
    Log log_;
    Timer timer_;
    std::vector<bool> begun_;                                  ///< by step: whether what it waits for has happened
    std::set<std::pair<Clock::time_point, std::size_t>> due_;  ///< steps, by their times
};

}  // namespace corvane::simulated
