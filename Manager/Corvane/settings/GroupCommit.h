#pragma once

#include "Corvane/loop/Loop.h"
#include "Corvane/settings/SettingsStore.h"
#include "Corvane/support/Log.h"

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// Lets all changes of one moment share one sync of the disk, so that many writers cost others no more than one.
///
/// Jobs that wait for the disk queue up. Before each of them, clients that only ask are served.
class GroupCommit {
public:
    /// Both outlive this.
    GroupCommit(SettingsStore& store, Loop& loop) : store_(store), loop_(loop) {}
    GroupCommit(const GroupCommit&) = delete;
    GroupCommit& operator=(const GroupCommit&) = delete;

    /// Stores in its turn. @param area a constant. @param done runs when the text is on disk,
    /// or when the group could not be stored: nothing of it has changed then.
    void store(std::string_view area, std::string name, std::string text, Completion<void> done);
    /// Runs `write`, which puts on disk what isn't in the store, in its turn.
    void run(std::function<void()> write);
    /// Runs `step` ahead of the queue: for a job of several syncs, so that others are served between them.
    void runNext(std::function<void()> step);
    /// Stores a preference by `write`, which returns whether it succeeded, ahead of the queue and in two steps.
    void writePreference(const std::function<bool()>& write, const Completion<void>& done);
    /// Runs the whole queue, now.
    void finish();

private:
    struct Change {
        std::string_view area;
        std::string name;
        std::string text;
        Completion<void> done;
        log::RateLimited* limit;  ///< of who has asked for it
    };
    struct Job {
        std::function<void()> run;
        log::RateLimited* limit;
    };

    void awaitTurn();
    void runFirst();
    void commit();

    SettingsStore& store_;
    Loop& loop_;
    std::vector<Change> changes_;
    std::deque<Job> jobs_;
    bool awaitsTurn_ = false;
};

}  // namespace corvane
