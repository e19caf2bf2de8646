#include "Corvane/traces/TraceFilters.h"

#include "Corvane/support/Log.h"
#include "Corvane/support/Text.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <fmt/format.h>

#include <limits>
#include <string>

namespace corvane {

namespace {

constexpr std::string_view kRemoved = "removed";

struct Rule {
    const char* name;
    std::int64_t highest;
    std::int64_t byDefault;
};

const std::array<Rule, 2> kRules{{
    {ryn::kTraceFilterFreeSpacePercentage, 100, 1},
    {ryn::kTraceFilterMaxLogLimit, std::numeric_limits<std::int32_t>::max(), 20},
}};

Result<std::size_t> find(std::string_view filter) {
    for (std::size_t index = 0; index < kRules.size(); ++index) {
        if (filter == kRules[index].name) {
            return index;
        }
    }
    return Refusal::invalidArgument(
        fmt::format("There is no trace filter '{}'; there are {}.", filter, listed(kRules, " and ", &Rule::name)));
}

bool isWithin(const Rule& rule, std::int64_t value) {
    return value >= 0 && value <= rule.highest;
}

}  // namespace

TraceFilters::TraceFilters(SettingsStore& store, GroupCommit& group) : store_(store), group_(group) {
    for (std::size_t index = 0; index < kRules.size(); ++index) {
        const Rule& rule = kRules[index];
        const auto stored = store_.get(kArea, rule.name);
        if (stored == kRemoved) {
            continue;
        }
        values_[index] = stored ? parseNumber(*stored) : rule.byDefault;
        if (!values_[index] || !isWithin(rule, *values_[index])) {
            log::error(fmt::format("the stored filter {} is '{}' and takes 0 to {}; it is now at its default, {}", rule.name,
                                   *stored, rule.highest, rule.byDefault));
            values_[index] = rule.byDefault;
            store_.storeLazily(kArea, rule.name, std::to_string(rule.byDefault));
        }
    }
}

void TraceFilters::add(std::string_view filter, std::optional<std::int64_t> value, const Completion<void>& done) {
    const auto index = find(filter);
    if (!index) {
        done(index.refusal());
        return;
    }
    const Rule& rule = kRules[*index];
    if (value && !isWithin(rule, *value)) {
        done(Refusal::invalidArgument(
            fmt::format("{} can't be {}; it takes 0 to {}, or null for {}.", rule.name, *value, rule.highest, rule.byDefault)));
        return;
    }
    store(*index, value.value_or(rule.byDefault), done);
}

void TraceFilters::remove(std::string_view filter, const Completion<void>& done) {
    if (const auto index = find(filter)) {
        store(*index, std::nullopt, done);
    } else {
        done(index.refusal());
    }
}

void TraceFilters::store(std::size_t index, std::optional<std::int64_t> value, const Completion<void>& done) {
    const std::string text = value ? std::to_string(*value) : std::string(kRemoved);
    group_.store(kArea, kRules[index].name, text, [this, index, value, done](const Result<void>& stored) {
        if (stored) {
            values_[index] = value;
        }
        done(stored);
    });
}

void TraceFilters::applyDefaults() {
    for (std::size_t index = 0; index < kRules.size(); ++index) {
        values_[index] = kRules[index].byDefault;
    }
}

xpc::Object TraceFilters::all() const {
    xpc::Object filters = dictionary({});
    for (std::size_t index = 0; index < kRules.size(); ++index) {
        if (values_[index]) {
            xpc::set(filters, kRules[index].name, number(*values_[index]));
        }
    }
    return filters;
}

}  // namespace corvane
