#pragma once

#include "Corvane/loop/Loop.h"
#include "Corvane/settings/SettingsStore.h"

#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// Lets all changes of one iteration of the loop share one sync of the disk, so that many writers cost others no more than one.
class GroupCommit {
public:
    /// Both outlive this.
    GroupCommit(SettingsStore& store, Loop& loop) : store_(store), loop_(loop) {}
    GroupCommit(const GroupCommit&) = delete;
    GroupCommit& operator=(const GroupCommit&) = delete;

    /// Stores at the end of this iteration. @param area a constant. @param done runs when the text is on disk, or when the group
    /// could not be stored: nothing of it has changed then.
    void store(std::string_view area, std::string name, std::string text, Completion<void> done);

private:
    struct Change {
        std::string_view area;
        std::string name;
        std::string text;
        Completion<void> done;
    };

    void commit();

    SettingsStore& store_;
    Loop& loop_;
    std::vector<Change> changes_;
};

}  // namespace corvane
