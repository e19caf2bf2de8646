#pragma once

#include "Corvane/settings/GroupCommit.h"
#include "Corvane/settings/SettingsStore.h"
#include "Corvane/support/Result.h"
#include "platform/xpc/Object.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace corvane {

/// The two filters of trace log collections. Each is at its default, at a value of a client's, or removed.
class TraceFilters {
public:
    /// A stored value out of its range is logged and replaced by the default.
    TraceFilters(SettingsStore& store, GroupCommit& group);

    /// The old value stands until the new one is on disk, when `done` runs. @param value absent: back to the default.
    void add(std::string_view filter, std::optional<std::int64_t> value, const Completion<void>& done);
    void remove(std::string_view filter, const Completion<void>& done);
    /// Removes what is stored; to be followed by `applyDefaults` when that is on disk.
    Result<void> erase() { return store_.clear(kArea); }
    void applyDefaults();

    /// In percent of the disk that a collection needs free, from 0 to 100; nullopt when the filter is removed.
    std::optional<std::int64_t> freeSpacePercentage() const { return values_[0]; }
    /// How many folders of trace logs there may be; nullopt when the filter is removed.
    std::optional<std::int64_t> maxLogLimit() const { return values_[1]; }

    /// {filter: int64}, without those that are removed.
    xpc::Object all() const;

private:
    static constexpr std::string_view kArea = "filter";

    void store(std::size_t index, std::optional<std::int64_t> value, const Completion<void>& done);

    SettingsStore& store_;
    GroupCommit& group_;
    std::array<std::optional<std::int64_t>, 2> values_;
};

}  // namespace corvane
