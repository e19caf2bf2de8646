#include "Corvane/requests/Statistics.h"

#include "Corvane/requests/Arguments.h"
#include "Corvane/settings/SettingsStore.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <cstdlib>

namespace corvane {

namespace {

constexpr std::string_view kStatistics = "statistics";
constexpr const char* kBootFigures[] = {ryn::kKeyBootModuleLastRecoveryTime, ryn::kKeyBootModuleLastHardResetTime};

xpc::Object count(std::uint64_t value) {
    return number(static_cast<std::int64_t>(value));
}

/// Those that are not 0.
xpc::Object counts(const std::map<std::string, std::uint64_t>& times) {
    xpc::Object made = dictionary({});
    for (const auto& [name, value] : times) {
        if (value > 0) {
            xpc::set(made, name.c_str(), count(value));
        }
    }
    return made;
}

}  // namespace

xpc::Object ClientFigures::toDictionary() const {
    return dictionary({{"Connected", count(connected)},
                       {"WatchingEvents", count(watchingEvents)},
                       {"Accepted", count(accepted)},
                       {"RefusedPeers", count(refusedPeers)},
                       {"RefusedOverLimit", count(refusedOverLimit)},
                       {"EndedByManager", count(ended)},
                       {"EventsSent", count(eventsSent)}});
}

void CommandFigures::countReset(const std::string& subType) {
    constexpr std::size_t kMostSubTypes = 16;
    constexpr std::size_t kLongestSubType = 64;
    const bool fits = subType.size() <= kLongestSubType && (resets.contains(subType) || resets.size() < kMostSubTypes);
    ++resets[fits ? subType : "other"];
}

xpc::Object CommandFigures::toDictionary() const {
    return dictionary(
        {{"Served", counts(served)}, {"Resets", counts(resets)}, {"Refused", count(refused)}, {"Unknown", count(unknown)}});
}

Result<void> storeBootFigures(SettingsStore& store, const xpc::Object& reported) {
    SettingsStore::Transaction both(store);
    for (const char* key : kBootFigures) {
        const auto figure = OptionalNumber{key, 0}.read(reported);
        if (!figure) {
            return figure.refusal();
        }
        if (auto stored = *figure ? store.store(kStatistics, key, std::to_string(**figure)) : Result<void>(); !stored) {
            return stored;
        }
    }
    return both.commit();
}

void addBootFigures(const SettingsStore& store, const xpc::Object& figures) {
    for (const char* key : kBootFigures) {
        if (const auto stored = store.get(kStatistics, key)) {
            xpc::set(figures, key, number(std::strtoll(stored->c_str(), nullptr, 10)));
        }
    }
}

}  // namespace corvane
