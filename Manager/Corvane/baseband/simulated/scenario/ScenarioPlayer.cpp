#include "Corvane/baseband/simulated/scenario/ScenarioPlayer.h"

#include <fmt/format.h>

namespace corvane::simulated {

void ScenarioPlayer::start() {
    begun_.assign(scenario_.steps.size(), false);
    happened("");  // a step that comes after nothing in particular begins now
    carryOutDue();
}

void ScenarioPlayer::happened(std::string_view event) {
    const Clock::time_point now = Clock::now();
    for (std::size_t index = 0; index < begun_.size(); ++index) {
        if (!begun_[index] && scenario_.steps[index].after == event) {
            add(index, now);
        }
    }
    arm();
}

void ScenarioPlayer::add(std::size_t step, Clock::time_point from) {
    due_.emplace(from + scenario_.steps[step].delay, step);
    begun_[step] = true;
}

void ScenarioPlayer::carryOutDue() {
    const Clock::time_point now = Clock::now();
    while (!due_.empty() && due_.begin()->first <= now) {
        carryOut(due_.extract(due_.begin()).value().second);
    }
    arm();
}

void ScenarioPlayer::carryOut(std::size_t index) {
    const ScenarioStep& step = scenario_.steps[index];
    const bool done = step.action->carryOut(stage_, step.values);
    log_(fmt::format("Scenario, step {}{}: {}{}", index + 1, step.name.empty() ? "" : fmt::format(" ({})", step.name),
                     step.action->name, done ? "" : ", without effect: the baseband is off or doesn't run"));
    if (!step.name.empty()) {
        happened(step.name);
    }
}

/// Never within what has just happened: the baseband is in the middle of it.
void ScenarioPlayer::arm() {
    if (due_.empty()) {
        timer_.cancel();
        return;
    }
    timer_.set(std::chrono::ceil<std::chrono::milliseconds>(due_.begin()->first - Clock::now()), [this] { carryOutDue(); });
}

}  // namespace corvane::simulated
