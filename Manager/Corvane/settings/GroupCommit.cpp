#include "Corvane/settings/GroupCommit.h"

#include "Platform/CoreFoundation/PreferencesWrite.h"

#include <memory>
#include <utility>

namespace corvane {

void GroupCommit::store(std::string_view area, std::string name, std::string text, Completion<void> done) {
    if (changes_.empty()) {
        run([this] { commit(); });
    }
    changes_.push_back({area, std::move(name), std::move(text), std::move(done), log::RateLimited::current()});
}

void GroupCommit::run(std::function<void()> write) {
    jobs_.push_back({std::move(write), log::RateLimited::current()});
    awaitTurn();
}

void GroupCommit::runNext(std::function<void()> step) {
    jobs_.push_front({std::move(step), log::RateLimited::current()});
    awaitTurn();
}

void GroupCommit::writePreference(const std::function<bool()>& write, const Completion<void>& done) {
    runNext([this, write, done] {
        const auto change = std::make_shared<platform::PreferencesWrite>(write);
        runNext([change, done] {
            done(change->finish() ? Result<void>() : Refusal::storageFailed("The preferences could not be written."));
        });
    });
}

void GroupCommit::awaitTurn() {
    if (jobs_.empty() || std::exchange(awaitsTurn_, true)) {
        return;
    }
    loop_.deferToLull([this] {
        awaitsTurn_ = false;
        runFirst();
    });
}

void GroupCommit::runFirst() {
    if (jobs_.empty()) {
        return;
    }
    const Job job = std::move(jobs_.front());
    jobs_.pop_front();
    const log::RateLimited::Scope limited(job.limit);
    loop_.withinMemory(job.run);
    if (store_.isLogLong()) {  // before a change would find it at its limit
        runNext([this] {
            store_.writeBack();
            runNext([this] { store_.beginLog(); });
        });
    }
    awaitTurn();
}

void GroupCommit::finish() {
    while (!jobs_.empty()) {
        runFirst();
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
        const log::RateLimited::Scope limited(change.limit);
        loop_.withinMemory([&] { change.done(committed); });
    }
}

}  // namespace corvane
