#include "Corvane/traces/TraceFilters.h"

#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <cstdlib>
#include <limits>
#include <string>
#include <variant>

namespace corvane {

namespace {

constexpr std::string_view kArea = "filter";
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

std::variant<std::size_t, Refusal> find(std::string_view filter) {
    for (std::size_t index = 0; index < kRules.size(); ++index) {
        if (filter == kRules[index].name) {
            return index;
        }
    }
    return Refusal{ResultCode::InvalidArgument, "There is no trace filter '" + std::string(filter) + "'; there are " +
                                                    kRules[0].name + " and " + kRules[1].name + "."};
}

}  // namespace

TraceFilters::TraceFilters(SettingsStore& store) : store_(store) {
    for (std::size_t index = 0; index < kRules.size(); ++index) {
        const auto stored = store_.get(kArea, kRules[index].name);
        if (stored != kRemoved) {
            values_[index] = stored ? std::strtoll(stored->c_str(), nullptr, 10) : kRules[index].byDefault;
        }
    }
}

std::optional<Refusal> TraceFilters::add(std::string_view filter, std::optional<std::int64_t> value) {
    auto found = find(filter);
    if (auto* refusal = std::get_if<Refusal>(&found)) {
        return std::move(*refusal);
    }
    const std::size_t index = std::get<std::size_t>(found);
    const Rule& rule = kRules[index];
    if (value && (*value < 0 || *value > rule.highest)) {
        return Refusal{ResultCode::InvalidArgument, std::string(rule.name) + " can't be " + std::to_string(*value) +
                                                        "; it takes 0 to " + std::to_string(rule.highest) + ", or null for " +
                                                        std::to_string(rule.byDefault) + "."};
    }
    return keep(index, value.value_or(rule.byDefault));
}

std::optional<Refusal> TraceFilters::remove(std::string_view filter) {
    auto found = find(filter);
    if (auto* refusal = std::get_if<Refusal>(&found)) {
        return std::move(*refusal);
    }
    return keep(std::get<std::size_t>(found), std::nullopt);
}

std::optional<Refusal> TraceFilters::keep(std::size_t index, std::optional<std::int64_t> value) {
    if (auto why = store_.put(kArea, kRules[index].name, value ? std::to_string(*value) : std::string(kRemoved))) {
        return Refusal{ResultCode::StorageFailed, std::move(*why)};
    }
    values_[index] = value;
    return std::nullopt;
}

std::optional<Refusal> TraceFilters::reset() {
    if (auto why = store_.remove(kArea)) {
        return Refusal{ResultCode::StorageFailed, std::move(*why)};
    }
    for (std::size_t index = 0; index < kRules.size(); ++index) {
        values_[index] = kRules[index].byDefault;
    }
    return std::nullopt;
}

xpc::Object TraceFilters::all() const {
    xpc::Object filters = dictionary({});
    for (std::size_t index = 0; index < kRules.size(); ++index) {
        if (values_[index]) {
            xpc_dictionary_set_value(filters.get(), kRules[index].name, number(*values_[index]).get());
        }
    }
    return filters;
}

}  // namespace corvane
