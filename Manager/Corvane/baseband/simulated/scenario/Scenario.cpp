#include "Corvane/baseband/simulated/scenario/Scenario.h"

#include "Corvane/baseband/simulated/scenario/JsonPlaces.h"
#include "Corvane/baseband/simulated/scenario/ScenarioActions.h"
#include "Corvane/support/Text.h"
#include "Platform/File.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

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

bool accepts(const ScenarioKey& key, const json& value) {
    if (key.form == Form::Number || key.form == Form::Whole) {
        const double number = value.is_number() ? value.get<double>() : std::nan("");
        return number >= key.lowest && number <= key.highest && (key.form == Form::Number || std::floor(number) == number);
    }
    const auto* text = value.get_ptr<const std::string*>();
    return text != nullptr && (key.form == Form::Choice ? std::ranges::find(key.choices, *text) != key.choices.end()
                                                        : !text->empty() && text->size() <= kLongestText && isPrintable(*text));
}

/// Reads one file.
class Reader {
public:
    explicit Reader(const std::string& name) : name_(name) {}

    Result<Scenario> read(std::string_view text) {
        const auto root = places_.parse(text);
        if (!root) {
            return Refusal::invalidArgument(name_ + " " + root.refusal().sentence);
        }
        Result<void> done = readRoot(*root);
        done = done ? readSteps(root->at("steps")) : done;
        done = done ? checkOrder() : done;
        return done ? Result(std::move(scenario_)) : done.refusal();
    }

private:
    /// @param key of what is being read, for the line; the object's own where it has no such key
    Refusal refusal(const std::string& key, const std::string& why) const {
        const std::size_t line = step_ == 0 ? places_.lineOf(key) : places_.lineOf(step_ - 1, key);
        return Refusal::invalidArgument(
            fmt::format("{} line {}{}: {}", name_, line, step_ == 0 ? "" : fmt::format(", step {}", step_), why));
    }

    Result<void> readRoot(const json& root);
    Result<void> readSteps(const json& steps);
    Result<void> readStep(const json& step);
    Result<void> readMoment(ScenarioStep& read) const;
    Result<void> checkOrder();
    Result<void> checkAfter(const ScenarioStep& step) const;
    /// The values of all `keys`. A key that is none of them is refused.
    Result<ScenarioValues> take(const json& object, const std::vector<ScenarioKey>& keys) const;
    const ScenarioStep* stepNamed(std::string_view name) const {
        const auto found = std::ranges::find(scenario_.steps, name, &ScenarioStep::name);
        return found == scenario_.steps.end() ? nullptr : &*found;
    }

    const std::string& name_;
    JsonPlaces places_;
    Scenario scenario_;
    std::size_t step_ = 0;  ///< that is being read, counted from 1; 0 is the file's own object
};

Result<ScenarioValues> Reader::take(const json& object, const std::vector<ScenarioKey>& keys) const {
    ScenarioValues values;
    for (const auto& [name, value] : object.items()) {
        const auto key = std::ranges::find(keys, name, &ScenarioKey::name);
        if (key == keys.end()) {
            const auto inQuotes = [](const ScenarioKey& known) { return fmt::format("\"{}\"", known.name); };
            return refusal(name, fmt::format("there is no key \"{}\" here; there are {}", escaped(cut(name, kLongestText)),
                                             listed(keys, ", ", inQuotes)));
        }
        if (!accepts(*key, value)) {
            return refusal(name, fmt::format("\"{}\" is {}; it takes {}", name, shown(value), key->acceptable()));
        }
        if (value.is_number()) {
            values[name] = value.get<double>();
        } else {
            values[name] = value.get<std::string>();
        }
    }
    for (const ScenarioKey& key : keys) {
        if (key.mandatory && !object.contains(key.name)) {
            return refusal("", fmt::format("\"{}\" is missing; it takes {}", key.name, key.acceptable()));
        }
        values.try_emplace(key.name, key.fallback);
    }
    return values;
}

Result<void> Reader::readRoot(const json& root) {
    if (!root.is_object() || !root.contains("steps") || !root.at("steps").is_array()) {
        return refusal("steps", R"(it must be an object like {"seed": 1, "steps": [...]})");
    }
    if (root.at("steps").size() > kMostSteps) {
        return refusal("steps", fmt::format("there are more than {} steps", kMostSteps));
    }
    json others = root;
    others.erase("steps");
    const std::vector<ScenarioKey> keys{{"seed", Form::Whole, 0, kLargestSeed, {}, 1.0, false},
                                        {"silence", Form::Number, 1, 3600, {}, 10.0, false}};
    const auto values = take(others, keys);
    if (!values) {
        return values.refusal();
    }
    scenario_.seed = static_cast<std::uint64_t>(std::get<double>(values->at("seed")));
    scenario_.silence = std::chrono::milliseconds(std::llround(1000 * std::get<double>(values->at("silence"))));
    return {};
}

Result<void> Reader::readSteps(const json& steps) {
    for (const json& step : steps) {
        ++step_;
        if (auto done = readStep(step); !done) {
            return done;
        }
    }
    return {};
}

Result<void> Reader::readStep(const json& step) {
    if (!step.is_object()) {
        return refusal("", shown(step) + R"( is no step; a step is an object like {"at": 5, "action": "crash"})");
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
        return take(only, keys).into(read.values);
    }
    auto done = take(step, keys).into(read.values);
    done = done ? readMoment(read) : done;
    if (done) {
        scenario_.steps.push_back(std::move(read));
    }
    return done;
}

Result<void> Reader::readMoment(ScenarioStep& read) const {
    const auto number = [&](const char* key) { return std::get<double>(read.values.at(key)); };
    read.name = std::get<std::string>(read.values.at("name"));
    read.after = std::get<std::string>(read.values.at("after"));
    const bool isTimed = number("at") >= 0;
    const bool isDelayed = number("delay") >= 0;
    if (isTimed != read.after.empty()) {
        return refusal(isTimed ? "at" : "", R"(a step has either "at" or "after")");
    }
    if (isDelayed && isTimed) {
        return refusal("delay", R"("delay" goes with "after")");
    }
    if (!read.name.empty() && (stepNamed(read.name) != nullptr || std::ranges::count(scenarioEvents(), read.name) > 0)) {
        return refusal("name", fmt::format("the name \"{}\" stands for another step or for an event", read.name));
    }
    const double seconds = isTimed ? number("at") : isDelayed ? number("delay") : 0;
    read.delay = std::chrono::milliseconds(std::llround(1000 * seconds));
    return {};
}

Result<void> Reader::checkOrder() {
    Result<void> done;
    step_ = 0;
    for (auto step = scenario_.steps.begin(); done && step != scenario_.steps.end(); ++step) {
        ++step_;
        done = checkAfter(*step);
    }
    return done;
}

Result<void> Reader::checkAfter(const ScenarioStep& step) const {
    const ScenarioStep* at = &step;
    for (std::size_t steps = 0; !at->after.empty() && std::ranges::count(scenarioEvents(), at->after) == 0; ++steps) {
        const ScenarioStep* before = stepNamed(at->after);
        if (before == nullptr && at != &step) {
            return {};  // refused where that step is checked
        }
        if (before == nullptr) {
            return refusal("after", fmt::format("there is no step or event \"{}\"; events are {}", at->after,
                                                fmt::join(scenarioEvents(), ", ")));
        }
        if (steps == scenario_.steps.size()) {
            return refusal("after", fmt::format("the step waits for itself, by way of \"{}\"", step.after));
        }
        at = before;
    }
    return {};
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
