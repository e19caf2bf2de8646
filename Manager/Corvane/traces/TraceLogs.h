#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/support/Result.h"
#include "Corvane/traces/ScratchLog.h"
#include "Corvane/traces/TraceFilters.h"
#include "Corvane/traces/TraceRecorders.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace corvane {

/// Folders of collected trace logs, "log-bb-<UTC time>-<n>" with an n that grows, below the state folder's "Snapshots".
class TraceLogs {
public:
    /// The references outlive this.
    TraceLogs(std::filesystem::path folder, const TraceFilters& filters, ScratchLog& scratchLog, TraceRecorders& recorders);

    /// Whether the filters allow a collection now.
    Result<void> checkFilters() const;
    /// When the newest folder was written; the past's end when there is none.
    std::chrono::system_clock::time_point lastCollected() const;
    /// Writes a folder that appears whole, and drops the oldest ones over the filter's limit.
    /// @param keepScratchLogs whether the manager's own log and the recorded traces go on as if nothing had been collected.
    /// @return the folder.
    Result<std::filesystem::path> write(const std::vector<SnapshotFile>& files, bool keepScratchLogs);

private:
    struct Collection {
        long number;
        std::filesystem::path folder;
    };

    std::vector<Collection> collections() const;
    void removeLeftovers() const;
    void dropOldest() const;

    std::filesystem::path folder_;
    const TraceFilters& filters_;
    ScratchLog& scratchLog_;
    TraceRecorders& recorders_;
};

}  // namespace corvane
