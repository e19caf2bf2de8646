#include "Corvane/requests/Statistics.h"

#include "Corvane/settings/SettingsStore.h"
#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <cstdlib>

namespace corvane {

namespace {

constexpr std::string_view kArea = "statistics";

xpc::Object count(std::uint64_t value) {
    return number(static_cast<std::int64_t>(value));
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

xpc::Object CommandFigures::toDictionary() const {
    const xpc::Object counts = dictionary({});
    for (const auto& [name, times] : served) {
        if (times > 0) {
            xpc_dictionary_set_value(counts.get(), name.c_str(), count(times).get());
        }
    }
    return dictionary({{"Served", counts}, {"Refused", count(refused)}, {"Unknown", count(unknown)}});
}

BootFigures::BootFigures(SettingsStore& store) : store_(store) {}

Result<void> BootFigures::report(std::optional<std::int64_t> lastRecoveryTime, std::optional<std::int64_t> lastHardResetTime) {
    const std::pair<const char*, std::optional<std::int64_t>> figures[] = {
        {ryn::kKeyBootModuleLastRecoveryTime, lastRecoveryTime},
        {ryn::kKeyBootModuleLastHardResetTime, lastHardResetTime},
    };
    SettingsStore::Transaction both(store_);
    for (const auto& [key, figure] : figures) {
        if (auto stored = figure ? store_.store(kArea, key, std::to_string(*figure)) : Result<void>(); !stored) {
            return stored;
        }
    }
    return both.commit();
}

void BootFigures::addTo(const xpc::Object& figures) const {
    for (const char* key : {ryn::kKeyBootModuleLastRecoveryTime, ryn::kKeyBootModuleLastHardResetTime}) {
        if (const auto stored = store_.get(kArea, key)) {
            xpc_dictionary_set_value(figures.get(), key, number(std::strtoll(stored->c_str(), nullptr, 10)).get());
        }
    }
}

}  // namespace corvane
