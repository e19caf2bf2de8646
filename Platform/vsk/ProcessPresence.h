#pragma once

#include "Platform/FileDescriptor.h"

#include <string>
#include <string_view>

namespace vsk {

/// Says for as long as it lives that this process is the running service `name`, so that isProcessRunning finds it
/// without a look at every process of the machine.
///
/// The announcement is a file `<name>.pid` in the first of the run folders `$XDG_RUNTIME_DIR/corvane`, `/run/corvane` and
/// `/run/<name in small letters>` that takes it; a missing folder is made (0750). The process holds a lock on the file, and it is
/// believed only as long: a stale one does no harm. Failing to announce is no failure: the process is then found by the longer
/// way.
class ProcessAnnouncement {
public:
    /// @param name the name that the kernel knows this process by: its executable's, unless it was changed
    explicit ProcessAnnouncement(std::string_view name);
    ProcessAnnouncement(const ProcessAnnouncement&) = delete;
    ProcessAnnouncement& operator=(const ProcessAnnouncement&) = delete;
    /// Removes the file when it still names this process.
    ~ProcessAnnouncement();

    bool isMade() const { return !path_.empty(); }

private:
    platform::FileDescriptor lock_;
    const std::string path_;  ///< empty: nothing is announced
};

}  // namespace vsk
