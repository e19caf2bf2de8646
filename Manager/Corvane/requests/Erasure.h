#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/settings/GroupCommit.h"
#include "Corvane/settings/SettingsStore.h"
#include "Corvane/traces/TraceFilters.h"
#include "Corvane/traces/TraceSettings.h"

namespace corvane {

/// The erasure of the baseband's non-volatile data, with which every setting goes back to its default: all of it or nothing, also
/// when the manager is killed meanwhile.
class Erasure {
public:
    /// All outlive this.
    Erasure(SettingsStore& store, GroupCommit& group, TraceSettings& settings, TraceFilters& filters)
        : store_(store), group_(group), settings_(settings), filters_(filters) {}

    /// A job of `group`.
    void run(Baseband& baseband, const Completion<void>& done);
    /// Finishes an erasure during which a manager was killed: puts the preferences back, which are in a file of their own.
    /// Returns when that is done.
    void finishInterrupted();

private:
    Result<void> eraseSettings();
    /// Finishes an erasure whose settings are erased, or answers why they are not.
    void goOn(const Result<void>& erased, const Completion<void>& done);
    void finish(const Completion<void>& done);

    SettingsStore& store_;
    GroupCommit& group_;
    TraceSettings& settings_;
    TraceFilters& filters_;
};

}  // namespace corvane
