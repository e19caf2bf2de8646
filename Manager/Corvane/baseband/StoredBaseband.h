#pragma once

#include "Corvane/baseband/BasebandStorage.h"
#include "Corvane/settings/SettingsStore.h"

namespace corvane {

/// The baseband's share of the settings store.
class StoredBaseband final : public BasebandStorage {
public:
    explicit StoredBaseband(SettingsStore& store) : store_(store) {}

    std::optional<std::string> get(std::string_view name) override { return store_.get(kArea, name); }
    bool put(std::string_view name, std::string_view text) override { return static_cast<bool>(store_.store(kArea, name, text)); }

private:
    static constexpr std::string_view kArea = "baseband";

    SettingsStore& store_;
};

}  // namespace corvane
