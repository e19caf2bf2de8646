#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/settings/SettingsStore.h"
#include "Corvane/traces/TraceFilters.h"
#include "Corvane/traces/TraceSettings.h"

namespace corvane {

/// The erasure of the baseband's non-volatile data, with which every setting goes back to its default: all of it or nothing, also
/// when the manager is killed meanwhile.
class Erasure {
public:
    /// All outlive this.
    Erasure(SettingsStore& store, TraceSettings& settings, TraceFilters& filters)
        : store_(store), settings_(settings), filters_(filters) {}

    void run(Baseband& baseband, const Completion<void>& done);
    /// Puts back the preferences, which are in a file of their own, where a manager was killed before it had.
    void finishInterrupted();

private:
    Result<void> eraseSettings();
    Result<void> finish();

    SettingsStore& store_;
    TraceSettings& settings_;
    TraceFilters& filters_;
};

}  // namespace corvane
