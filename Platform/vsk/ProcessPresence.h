#pragma once

#include "Platform/FileDescriptor.h"

#include <string>
#include <string_view>
#include <utility>

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
    ProcessAnnouncement() = default;
    ProcessAnnouncement(ProcessAnnouncement&& other) noexcept;
    ProcessAnnouncement& operator=(ProcessAnnouncement&& other) noexcept;
    /// Removes the file when it still names this process.
    ~ProcessAnnouncement();

    bool isMade() const { return !path_.empty(); }

private:
    friend ProcessAnnouncement announceProcess(std::string_view name);
    ProcessAnnouncement(std::string path, platform::FileDescriptor lock) : path_(std::move(path)), lock_(std::move(lock)) {}

    std::string path_;  ///< empty: nothing is announced
    platform::FileDescriptor lock_;
};

/// @param name the name that the kernel knows this process by: its executable's, unless it was changed
[[nodiscard]] ProcessAnnouncement announceProcess(std::string_view name);

}  // namespace vsk
