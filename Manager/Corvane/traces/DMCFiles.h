#pragma once

#include "Corvane/baseband/DiagSettings.h"
#include "Corvane/support/Result.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace corvane {

/// DMC files: each selects groups of diagnostic messages. "Default", "Tput", "Sleep" and "None" are built in; others are files
/// "<name>.json" in a folder: {"groups": ["NAS", "RRC"]}.
class DMCFiles {
public:
    explicit DMCFiles(std::filesystem::path folder) : folder_(std::move(folder)) {}

    /// What a file selects now. The refusal of an unknown name lists those that there are.
    Result<DiagGroups> read(std::string_view name) const;

private:
    Result<DiagGroups> parse(const std::filesystem::path& path) const;
    std::string names() const;

    std::filesystem::path folder_;
};

}  // namespace corvane
