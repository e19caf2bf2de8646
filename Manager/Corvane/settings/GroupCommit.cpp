#include "Corvane/settings/GroupCommit.h"

#include <utility>

namespace corvane {

void GroupCommit::store(std::string_view area, std::string name, std::string text, Completion<void> done) {
    if (changes_.empty()) {
        loop_.defer([this] { commit(); });
    }
    changes_.push_back({area, std::move(name), std::move(text), std::move(done)});
}

void GroupCommit::commit() {
    const std::vector<Change> changes = std::exchange(changes_, {});
    SettingsStore::Transaction group(store_);
    for (const Change& change : changes) {
        // A change that fails makes the commit fail, which says why.
        [[maybe_unused]] const auto stored = store_.store(change.area, change.name, change.text);
    }
    const Result<void> committed = group.commit();
    for (const Change& change : changes) {
        change.done(committed);
    }
}

}  // namespace corvane
