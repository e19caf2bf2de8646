#pragma once

#include "Corvane/loop/Loop.h"
#include "Corvane/settings/SettingsStore.h"

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// Lets all changes of one iteration of the loop share one sync of the disk, so that many writers cost others no more than one.
///
/// One job an iteration waits for the disk; between two of them, clients that only ask are served.
class GroupCommit {
public:
    /// Both outlive this.
    GroupCommit(SettingsStore& store, Loop& loop) : store_(store), loop_(loop) {}
    GroupCommit(const GroupCommit&) = delete;
    GroupCommit& operator=(const GroupCommit&) = delete;

    /// Stores at the end of this iteration, or of a later one. @param area a constant. @param done runs when the text is on disk,
    /// or when the group could not be stored: nothing of it has changed then.
    void store(std::string_view area, std::string name, std::string text, Completion<void> done);
    /// Runs `write`, which puts on disk what isn't in the store, in an iteration that waits for nothing else.
    void run(std::function<void()> write);
    /// Runs all that waits, now.
    void finish();

private:
    struct Change {
        std::string_view area;
        std::string name;
        std::string text;
        Completion<void> done;
    };

    void runNext();
    void commit();

    SettingsStore& store_;
    Loop& loop_;
    std::vector<Change> changes_;
    std::deque<std::function<void()>> jobs_;  ///< the first is the next, or under way
    int jobsInLog_ = 0;                       ///< since it was written back
};

}  // namespace corvane
