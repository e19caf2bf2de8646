#pragma once

#include "Platform/FileDescriptor.h"

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace corvane {

/// The manager's own trace: its log in a file, for the next collection of trace logs.
///
/// Written while the preference "Trace::RYN::Enabled" says so. Two files of half the preference "Trace::RYN::History" each; the
/// older one makes room. Both are read at the start and by `refresh`: reading them at every line would cost a file each.
class ScratchLog {
public:
    /// @param folder made with the first line.
    explicit ScratchLog(std::filesystem::path folder) : folder_(std::move(folder)) { refresh(); }

    /// Reads both preferences; to be called when one of them has changed.
    void refresh();

    void write(std::string_view line);
    /// Puts what there is into `folder`. @param keep false: `clear` follows, when the folder is on disk.
    std::error_code collect(const std::filesystem::path& folder, bool keep);
    void clear();

private:
    bool open();
    std::filesystem::path current() const { return folder_ / "Corvane.log"; }
    std::filesystem::path older() const { return folder_ / "Corvane.log.1"; }

    std::filesystem::path folder_;
    platform::FileDescriptor file_;
    std::uint64_t size_ = 0;
    bool isRefused_ = false;  ///< could not be opened, which has been said
    bool enabled_ = false;
    std::uint64_t largestFile_ = 0;  ///< in bytes
};

}  // namespace corvane
