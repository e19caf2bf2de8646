#include "Corvane/settings/GroupCommit.h"

#include <utility>

namespace corvane {
namespace {

/// After so many the log is written back, in jobs of its own, before a change would find it at its limit.
constexpr int kJobsInLog = 32;

}  // namespace

void GroupCommit::store(std::string_view area, std::string name, std::string text, Completion<void> done) {
    if (changes_.empty()) {
        run([this] { commit(); });
    }
    changes_.push_back({area, std::move(name), std::move(text), std::move(done)});
}

void GroupCommit::run(std::function<void()> write) {
    jobs_.push_back(std::move(write));
    if (jobs_.size() == 1) {
        loop_.defer([this] { runNext(); });
    }
}

void GroupCommit::runNext() {
    jobs_.front()();
    jobs_.pop_front();
    if (++jobsInLog_ == kJobsInLog) {
        jobsInLog_ = 0;
        jobs_.emplace_back([this] { store_.writeBack(); });
        jobs_.emplace_back([this] { store_.beginLog(); });
    }
    if (!jobs_.empty()) {
        loop_.deferToNext([this] { runNext(); });
    }
}

void GroupCommit::finish() {
    for (; !jobs_.empty(); jobs_.pop_front()) {
        jobs_.front()();
    }
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
