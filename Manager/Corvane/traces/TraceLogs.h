#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/support/Result.h"
#include "Corvane/traces/ScratchLog.h"
#include "Corvane/traces/TraceFilters.h"
#include "Corvane/traces/TraceRecorders.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <vector>

namespace corvane {

/// Folders of collected trace logs, "log-bb-<UTC time>-<n>" with an n that grows, below the state folder's "Snapshots".
class TraceLogs {
public:
    /// The references outlive this.
    TraceLogs(std::filesystem::path folder, const TraceFilters& filters, ScratchLog& scratchLog, TraceRecorders& recorders);

    /// Whether the filters allow a collection now.
    Result<void> checkFilters() const;
    /// When the newest folder was written; 1970 when there is none.
    std::chrono::system_clock::time_point lastCollected() const;
    /// A folder that is written and not yet on disk.
    struct Written {
        std::filesystem::path folder;  ///< as it is named once it is on disk
        std::vector<std::filesystem::path> unsynced;
        bool keepsScratchLogs;
    };
    /// Writes a folder, to be synced before the next one is written.
    /// @param keepScratchLogs whether the manager's own log and the recorded traces go on as if nothing had been collected.
    Result<Written> write(const std::vector<SnapshotFile>& files, bool keepScratchLogs);
    /// Waits for the disk once. Then the folder appears whole, and the oldest ones over the filter's limit are dropped.
    /// @return the folder, none while there is more to wait for.
    Result<std::optional<std::filesystem::path>> sync(Written& written);

private:
    struct Collection {
        long number;
        std::filesystem::path folder;
    };

    /// Makes the folder `partial` with all that belongs in it. A refusal is a clause.
    Result<void> fill(const std::filesystem::path& partial, const std::vector<SnapshotFile>& files, bool keepScratchLogs);
    Result<std::filesystem::path> publish(const Written& written);
    std::vector<Collection> collections() const;
    void removeLeftovers() const;
    void dropOldest() const;

    std::filesystem::path folder_;
    const TraceFilters& filters_;
    ScratchLog& scratchLog_;
    TraceRecorders& recorders_;
};

}  // namespace corvane
