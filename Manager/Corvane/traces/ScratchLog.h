#pragma once

#include "Corvane/support/LogFile.h"
#include "Corvane/support/Result.h"

#include <filesystem>
#include <string_view>

namespace corvane {

/// The manager's own trace: its log in a file, for the next collection of trace logs.
///
/// Written while the preference "Trace::RYN::Enabled" says so. Two files of half the preference "Trace::RYN::History" each; the
/// older one makes room. Both are read at the start and by `reload`: reading them at every line would cost a file each.
class ScratchLog {
public:
    /// @param folder made with the first line.
    explicit ScratchLog(const std::filesystem::path& folder);

    /// Reads both preferences; to be called when one of them has changed.
    void reload();

    void write(std::string_view line);
    /// Puts what there is into `folder`. A refusal is a clause. @param keep false: `clear` follows, when the folder is on disk.
    Result<void> collect(const std::filesystem::path& folder, bool keep);
    void clear() { file_.remove(); }

private:
    LogFile file_;
    bool enabled_ = false;
};

}  // namespace corvane
