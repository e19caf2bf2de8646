#include "Corvane/baseband/modemmanager/ModemTrace.h"

#include <utility>

namespace corvane::modemmanager {

void ModemTrace::switchOn(Completion<void> done) {
    if (done_) {
        done(Refusal::busy("The trace is being switched on already."));
    } else if (on_) {
        done({});
    } else if (auto possible = started_ ? check() : Result<void>(); !possible) {
        done(std::move(possible));
    } else {
        on_ = true;
        done_ = std::move(done);
        modemChanged();
    }
}

void ModemTrace::switchOff() {
    source_.clear();
    if (std::exchange(on_, false)) {
        end();
    }
    if (const auto done = std::exchange(done_, nullptr)) {
        done(Refusal::aborted("The trace was switched off before it was on."));
    }
}

void ModemTrace::modemChanged() {
    std::string now = on_ ? source() : std::string();
    if (now == source_) {
        return;
    }
    source_ = now;
    if (now.empty()) {
        return;
    }
    if (const auto possible = check(); !possible) {
        finish(possible);
    } else {
        begin([this, asked = std::move(now)](const Result<void>& begun) {
            if (asked == source_) {
                finish(begun);
            }
        });
    }
}

void ModemTrace::finish(const Result<void>& begun) {
    const auto done = std::exchange(done_, nullptr);
    if (done && !begun) {
        switchOff();
    }
    if (done) {
        done(begun);
    } else {
        complain(begun);
    }
}

void ModemTrace::complain(const Result<void>& done) const {
    if (!done) {
        log_(done.refusal().sentence);
    }
}

}  // namespace corvane::modemmanager
