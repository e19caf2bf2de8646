#include "Corvane/baseband/simulated/scenario/Scenario.h"

#include "Corvane/baseband/simulated/scenario/JsonPlaces.h"
#include "Corvane/baseband/simulated/scenario/ScenarioActions.h"
#include "Corvane/support/Text.h"
#include "Platform/File.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

namespace corvane::simulated {
namespace {

using nlohmann::json;
using Form = ScenarioKey::Form;

constexpr std::size_t kLargestScenario = 1'048'576;
constexpr std::size_t kMostSteps = 1000;
constexpr std::size_t kLongestText = 200;
constexpr double kLongestWait = 31'536'000;             // seconds: a year
constexpr double kLargestSeed = 9'007'199'254'740'991;  // the largest that every JSON reader keeps

std::string shown(const json& value) {
    return std::string(cut(value.dump(-1, ' ', true, json::error_handler_t::replace), 60));
}

std::optional<ScenarioValues::mapped_type> accept(const ScenarioKey& key, const json& value) {
    if (key.form == Form::Number || key.form == Form::Whole) {
        const double number = value.is_number() ? value.get<double>() : std::nan("");
        const bool fits = number >= key.lowest && number <= key.highest;
        return fits && (key.form == Form::Number || std::floor(number) == number) ? std::optional(number) : std::nullopt;
    }
    const auto* text = value.get_ptr<const std::string*>();
    const bool fits =
        text != nullptr && (key.form == Form::Choice ? std::ranges::find(key.choices, *text) != key.choices.end()
                                                     : !text->empty() && text->size() <= kLongestText && isPrintable(*text));
    return fits ? std::optional(*text) : std::nullopt;
}

/// Reads one file. What is wrong with it is remembered by the first function that finds it.
class Reader {
public:
    explicit Reader(const std::string& name) : name_(name) {}

    Result<Scenario> read(std::string_view text) {
        const auto root = places_.parse(text);
        if (!root) {
            return Refusal::invalidArgument(name_ + " " + root.refusal().sentence);
        }
        const bool done = readRoot(*root) && readSteps(root->at("steps")) && checkOrder();
        return done ? Result(std::move(scenario_)) : Refusal::invalidArgument(problem_);
    }

private:
    /// Always false.
    bool fail(const std::string& key, const std::string& why) {
        const std::size_t line = step_ == 0 ? places_.lineOf(key) : places_.lineOf(step_ - 1, key);
        problem_ = fmt::format("{} line {}{}: {}", name_, line, step_ == 0 ? "" : fmt::format(", step {}", step_), why);
        return false;
    }

    bool readRoot(const json& root);
    bool readSteps(const json& steps);
    bool readStep(const json& step);
    bool readMoment(const ScenarioValues& values, ScenarioStep& read);
    bool checkOrder();
    bool checkAfter(const ScenarioStep& step);
    /// Whether every key of `object` is in `keys`, with a value that it takes, and none is missing.
    bool take(const json& object, const std::vector<ScenarioKey>& keys, ScenarioValues& values);
    const ScenarioStep* stepNamed(std::string_view name) const {
        const auto found = std::ranges::find(scenario_.steps, name, &ScenarioStep::name);
        return found == scenario_.steps.end() ? nullptr : &*found;
    }

    const std::string& name_;
    JsonPlaces places_;
    Scenario scenario_;
    std::size_t step_ = 0;  ///< that is being read, counted from 1; 0 is the file's own object
    std::string problem_;
};

bool Reader::take(const json& object, const std::vector<ScenarioKey>& keys, ScenarioValues& values) {
    std::string names;
    for (const ScenarioKey& key : keys) {
        names += (names.empty() ? "\"" : ", \"") + std::string(key.name) + "\"";
    }
    for (const auto& [name, value] : object.items()) {
        const auto key = std::ranges::find(keys, name, &ScenarioKey::name);
        if (key == keys.end()) {
            return fail(name, fmt::format("there is no key \"{}\" here; there are {}", escaped(cut(name, kLongestText)), names));
        }
        const auto accepted = accept(*key, value);
        if (!accepted) {
            return fail(name, fmt::format("\"{}\" is {}; it takes {}", name, shown(value), key->acceptable()));
        }
        values[name] = *accepted;
    }
    for (const ScenarioKey& key : keys) {
        if (key.mandatory && !object.contains(key.name)) {
            return fail("", fmt::format("\"{}\" is missing; it takes {}", key.name, key.acceptable()));
        }
        values.try_emplace(key.name, key.fallback);
    }
    return true;
}

bool Reader::readRoot(const json& root) {
    if (!root.is_object() || !root.contains("steps") || !root.at("steps").is_array()) {
        return fail("steps", R"(it must be an object like {"seed": 1, "steps": [...]})");
    }
    if (root.at("steps").size() > kMostSteps) {
        return fail("steps", fmt::format("there are more than {} steps", kMostSteps));
    }
    json others = root;
    others.erase("steps");
    const std::vector<ScenarioKey> keys{{"seed", Form::Whole, 0, kLargestSeed, {}, 1.0, false},
                                        {"silence", Form::Number, 1, 3600, {}, 10.0, false}};
    ScenarioValues values;
    if (!take(others, keys, values)) {
        return false;
    }
    scenario_.seed = static_cast<std::uint64_t>(std::get<double>(values.at("seed")));
    scenario_.silence = std::chrono::milliseconds(std::llround(1000 * std::get<double>(values.at("silence"))));
    return true;
}

bool Reader::readSteps(const json& steps) {
    for (const json& step : steps) {
        ++step_;
        if (!readStep(step)) {
            return false;
        }
    }
    return true;
}

bool Reader::readStep(const json& step) {
    if (!step.is_object()) {
        return fail("", shown(step) + R"( is no step; a step is an object like {"at": 5, "action": "crash"})");
    }
    std::vector<std::string> names;
    for (const ScenarioAction& action : scenarioActions()) {
        names.emplace_back(action.name);
    }
    std::vector<ScenarioKey> keys{{.name = "name", .form = Form::Text, .fallback = "", .mandatory = false},
                                  {"at", Form::Number, 0, kLongestWait, {}, -1.0, false},
                                  {.name = "after", .form = Form::Text, .fallback = "", .mandatory = false},
                                  {"delay", Form::Number, 0, kLongestWait, {}, -1.0, false},
                                  {.name = "action", .form = Form::Choice, .choices = names}};
    ScenarioStep read;
    const auto action = std::ranges::find_if(
        scenarioActions(), [&](const ScenarioAction& row) { return step.contains("action") && step.at("action") == row.name; });
    if (action != scenarioActions().end()) {
        keys.insert(keys.end(), action->keys.begin(), action->keys.end());
        read.action = &*action;
    } else {
        // Nothing else can be judged before its action is known.
        keys.erase(keys.begin(), keys.end() - 1);
        const json only = step.contains("action") ? json{{"action", step.at("action")}} : json::object();
        return take(only, keys, read.values);
    }
    if (!take(step, keys, read.values) || !readMoment(read.values, read)) {
        return false;
    }
    scenario_.steps.push_back(std::move(read));
    return true;
}

bool Reader::readMoment(const ScenarioValues& values, ScenarioStep& read) {
    const auto number = [&](const char* key) { return std::get<double>(values.at(key)); };
    read.name = std::get<std::string>(values.at("name"));
    read.after = std::get<std::string>(values.at("after"));
    const bool isTimed = number("at") >= 0;
    const bool isDelayed = number("delay") >= 0;
    if (isTimed != read.after.empty()) {
        return fail(isTimed ? "at" : "", R"(a step has either "at" or "after")");
    }
    if (isDelayed && isTimed) {
        return fail("delay", R"("delay" goes with "after")");
    }
    if (!read.name.empty() && (stepNamed(read.name) != nullptr || std::ranges::count(scenarioEvents(), read.name) > 0)) {
        return fail("name", fmt::format("the name \"{}\" stands for another step or for an event", read.name));
    }
    const double seconds = isTimed ? number("at") : isDelayed ? number("delay") : 0;
    read.delay = std::chrono::milliseconds(std::llround(1000 * seconds));
    return true;
}

bool Reader::checkOrder() {
    step_ = 0;
    return std::ranges::all_of(scenario_.steps, [this](const ScenarioStep& step) {
        ++step_;
        return checkAfter(step);
    });
}

bool Reader::checkAfter(const ScenarioStep& step) {
    const ScenarioStep* at = &step;
    for (std::size_t steps = 0; !at->after.empty() && std::ranges::count(scenarioEvents(), at->after) == 0; ++steps) {
        const ScenarioStep* before = stepNamed(at->after);
        if (before == nullptr) {
            return at != &step || fail("after", fmt::format("there is no step or event \"{}\"; events are {}", at->after,
                                                            fmt::join(scenarioEvents(), ", ")));
        }
        if (steps == scenario_.steps.size()) {
            return fail("after", fmt::format("the step waits for itself, by way of \"{}\"", step.after));
        }
        at = before;
    }
    return true;
}

}  // namespace

Result<Scenario> parseScenario(const std::string& name, std::string_view text) {
    return Reader(name).read(text);
}

Result<Scenario> readScenario(const std::string& path) {
    const platform::FileContent file = platform::readFile(path, kLargestScenario);
    if (file.missing || !file.problem.empty()) {
        return Refusal::invalidArgument(
            fmt::format("{} can't be read: {}", path, file.missing ? "it doesn't exist" : file.problem));
    }
    return parseScenario(path, file.bytes);
}

}  // namespace corvane::simulated
