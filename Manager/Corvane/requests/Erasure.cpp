#include "Corvane/requests/Erasure.h"

#include "Corvane/support/Log.h"

#include <memory>
#include <optional>

namespace corvane {

namespace {

/// Holds a text from the moment when the settings are erased until the preferences are put back too.
constexpr std::string_view kErasure = "erasure";
constexpr std::string_view kUnderWay = "under way";

}  // namespace

void Erasure::run(Baseband& baseband, const Completion<void>& done) {
    struct Progress {
        std::optional<Result<void>> erased;
        bool isLate = false;
    };
    const auto progress = std::make_shared<Progress>();
    // What a simulated baseband erases is in the settings' file, and erased before the call returns: it is one change with them.
    SettingsStore::Transaction change(store_);
    baseband.eraseNVData([this, progress, done](const Result<void>& erased) {
        progress->erased = erased ? eraseSettings() : erased;
        if (progress->isLate) {
            goOn(*progress->erased, done);
        }
    });
    progress->isLate = true;
    const Result<void> committed = change.commit();
    if (progress->erased) {
        goOn(*progress->erased ? committed : *progress->erased, done);
    }
}

void Erasure::goOn(const Result<void>& erased, const Completion<void>& done) {
    if (erased) {
        group_.runNext([this, done] { finish(done); });
    } else {
        done(erased);
    }
}

void Erasure::finishInterrupted() {
    if (!store_.get(kErasure, kUnderWay)) {
        return;
    }
    log::notice("finishing an erasure during which the manager ended");
    finish([](const Result<void>& finished) {
        if (!finished) {
            log::error("the erasure is not finished: " + finished.refusal().sentence);
        }
    });
    group_.finish();
}

Result<void> Erasure::eraseSettings() {
    SettingsStore::Transaction change(store_);
    // A step that fails makes the commit fail, which says why.
    [[maybe_unused]] const Result<void> steps[] = {settings_.erase(), filters_.erase(),
                                                   store_.store(kErasure, kUnderWay, "preferences")};
    return change.commit();
}

void Erasure::finish(const Completion<void>& done) {
    filters_.applyDefaults();
    settings_.applyDefaults([this, done](const Result<void>& applied) {
        // Also after a refusal, which its client is told: what is set from now on must not be put back at the next start.
        const Result<void> finished = store_.clear(kErasure);
        done(applied ? finished : applied);
    });
}

}  // namespace corvane
