#pragma once

#include "Corvane/settings/SettingsStore.h"
#include "platform/xpc/Object.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>

namespace corvane::simulated {

/// Named numbers and texts that the simulated baseband remembers together: one JSON object in the settings.
///
/// The settings hold the only copy, so that a transaction that fails takes back what was set in it.
class StoredRecord {
public:
    using Value = std::variant<std::int64_t, std::string>;
    using Values = std::map<std::string, Value>;

    /// In the settings.
    static constexpr std::string_view kArea = "baseband";

    StoredRecord(SettingsStore& store, std::string name) : store_(store), name_(std::move(name)) {}

    /// Empty when nothing is stored, or nothing that can be read.
    Values values() const;
    /// 0 when there is no such number.
    std::int64_t number(const std::string& key) const;
    /// Empty when there is no such text.
    std::string text(const std::string& key) const;

    /// Sets what `changes` names. On disk before it returns; after a refusal nothing has changed.
    Result<void> set(Values changes);
    /// Puts `values` in place of everything; otherwise like set.
    Result<void> replace(const Values& values);
    /// Sets what may be lost in a power cut: on disk with the next change of anything.
    void setLazily(Values changes);

    xpc::Object toDictionary() const;

private:
    SettingsStore& store_;
    std::string name_;
};

}  // namespace corvane::simulated
