#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/simulated/scenario/Scenario.h"
#include "Corvane/loop/Loop.h"
#include "Corvane/settings/SettingsStore.h"

#include <memory>
#include <optional>
#include <span>
#include <string>

namespace corvane {

/// What the options of one backend or the other say.
struct BackendOptions {
    std::string modem;                            ///< of --modem; may be empty
    std::optional<simulated::Scenario> scenario;  ///< of --scenario
};

/// What --backend chooses from.
struct Backend {
    const char* name;
    /// @param loop and @param store outlive the baseband.
    std::unique_ptr<Baseband> (*make)(Loop& loop, SettingsStore& store, const BackendOptions& options);
};

/// The one whose clients are answered from a recording.
inline constexpr const char* kReplayBackend = "replay";

/// The default first.
std::span<const Backend> backends();

}  // namespace corvane
