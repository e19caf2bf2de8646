#pragma once

#include "Corvane/baseband/Baseband.h"
#include "Corvane/baseband/simulated/BasebandClock.h"
#include "Corvane/baseband/simulated/NVData.h"
#include "Corvane/loop/Timer.h"

#include <vector>

namespace corvane::simulated {

/// Writes the baseband's remote filesystem out; who asks while that is under way shares its end.
class FileSystemSync {
public:
    FileSystemSync(Loop& loop, NVData& nvData, const BasebandClock& clock) : nvData_(nvData), clock_(clock), end_(loop) {}

    /// Completes when it has ended, or at once unless `waitForCompletion`.
    void begin(bool waitForCompletion, Completion<void> completion);
    /// Ends one that is under way without success. @param why a clause
    void interrupt(const std::string& why);

private:
    static constexpr std::chrono::milliseconds kDuration{40};

    void complete();

    NVData& nvData_;
    const BasebandClock& clock_;
    Timer end_;  ///< set while one is under way
    std::vector<Completion<void>> waiting_;
};

}  // namespace corvane::simulated
