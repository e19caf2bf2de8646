#pragma once

#include <string>
#include <string_view>

namespace vsk {

/// Says for as long as it lives that this process is the running service `name`, so that isProcessRunning finds it
/// without a look at every process of the machine.
///
/// The announcement is a file `<name>.pid` in the first of the run folders `$XDG_RUNTIME_DIR/corvane` and `/run/corvane` that
/// takes it; a missing folder is made (0750). It is believed only while its process lives under that name, so a stale one does no
/// harm, and failing to announce is no failure: the process is then found by the longer way.
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
    explicit ProcessAnnouncement(std::string path) : path_(std::move(path)) {}

    std::string path_;  ///< empty: nothing is announced
};

/// @param name the name that the kernel knows this process by: its executable's, unless it was changed
[[nodiscard]] ProcessAnnouncement announceProcess(std::string_view name);

}  // namespace vsk
