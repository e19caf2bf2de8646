#pragma once

#include <functional>

namespace platform {

/// One change of preferences in two steps, each of which waits for one sync of the disk: whoever serves others can do so between
/// them. Until the second has run, the old value is read, and whoever else would change a preference waits.
class PreferencesWrite {
public:
    /// Runs `change`, which stores one preference and synchronises, as the first step. @param change returns whether it
    /// succeeded.
    explicit PreferencesWrite(const std::function<bool()>& change);
    PreferencesWrite(const PreferencesWrite&) = delete;
    PreferencesWrite& operator=(const PreferencesWrite&) = delete;

    /// The second step. @return whether the change is on disk; otherwise the old value stands.
    bool finish();

    /// For the code that stores: leaves its last step to the write within which this thread runs; without one, runs it at once.
    static bool runLast(std::function<bool()> step);

private:
    std::function<bool()> last_;
    bool isWritten_ = false;
};

}  // namespace platform
