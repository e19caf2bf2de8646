#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/loop/Loop.h"
#include "Corvane/settings/SettingsStore.h"

#include <memory>
#include <span>
#include <string>

namespace corvane {

/// What --backend chooses from.
struct Backend {
    const char* name;
    /// @param loop and @param store outlive the baseband. @param modem what --modem says; may be empty.
    std::unique_ptr<Baseband> (*make)(Loop& loop, SettingsStore& store, const std::string& modem);
};

/// The default first.
std::span<const Backend> backends();
/// nullptr when there is none of that name.
const Backend* findBackend(const std::string& name);

}  // namespace corvane
