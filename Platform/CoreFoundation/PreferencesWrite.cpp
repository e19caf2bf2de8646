#include "Platform/CoreFoundation/PreferencesWrite.h"

#include <utility>

namespace platform {
namespace {

/// Of the write within which this thread runs.
thread_local std::function<bool()>* lastStep = nullptr;

struct Scope {
    explicit Scope(std::function<bool()>& step) { lastStep = &step; }
    ~Scope() { lastStep = nullptr; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
};

}  // namespace

PreferencesWrite::PreferencesWrite(const std::function<bool()>& change) {
    const Scope within(last_);
    isWritten_ = change();
}

bool PreferencesWrite::finish() {
    const auto last = std::exchange(last_, nullptr);  // which holds the file's lock
    return isWritten_ && (!last || last());
}

bool PreferencesWrite::runLast(std::function<bool()> step) {
    if (lastStep == nullptr) {
        return step();
    }
    *lastStep = std::move(step);
    return true;
}

}  // namespace platform
