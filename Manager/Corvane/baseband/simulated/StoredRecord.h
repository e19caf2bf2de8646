#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/settings/SettingsStore.h"
#include "Corvane/support/Values.h"

#include <cstdint>
#include <string>

namespace corvane::simulated {

/// Named numbers and texts that the simulated baseband remembers together: one JSON object in the settings.
///
/// The settings hold the only copy, so that a transaction that fails takes back what was set in it.
class StoredRecord {
public:
    StoredRecord(SettingsStore& store, std::string name) : store_(store), name_(std::move(name)) {}

    /// A dictionary; empty when nothing is stored, or nothing that can be read.
    xpc::Object values() const;
    /// 0 when there is no such number.
    std::int64_t number(const char* key) const { return numberAt(values(), key).value_or(0); }

    /// Sets what the dictionary `changes` names. On disk before it returns; after a refusal nothing has changed.
    Result<void> set(const xpc::Object& changes) { return replace(changed(changes)); }
    /// Puts `values` in place of everything; otherwise like set.
    Result<void> replace(const xpc::Object& values) { return store_.store(kBasebandArea, name_, xpc::to_string(values)); }
    /// Sets what may be lost in a power cut: on disk with the next change of anything.
    void setLazily(const xpc::Object& changes) { store_.storeLazily(kBasebandArea, name_, xpc::to_string(changed(changes))); }

private:
    xpc::Object changed(const xpc::Object& changes) const;

    SettingsStore& store_;
    std::string name_;
};

}  // namespace corvane::simulated
