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
    FileSystemSync(Loop& loop, std::chrono::milliseconds duration, NVData& nvData, const BasebandClock& clock)
        : duration_(duration), nvData_(nvData), clock_(clock), end_(loop) {}

    /// Completes when it has ended, or at once unless `waitForCompletion`.
    void begin(bool waitForCompletion, Completion<void> completion);
    /// Ends one that is under way without success. @param why a clause
    void interrupt(const std::string& why);

private:
    void complete();

    const std::chrono::milliseconds duration_;
    NVData& nvData_;
    const BasebandClock& clock_;
    Timer end_;
    bool underWay_ = false;
    std::vector<Completion<void>> waiting_;
};

}  // namespace corvane::simulated
