#pragma once

#include "Corvane/baseband/DiagSettings.h"
#include "Corvane/support/Result.h"

#include <filesystem>
#include <string_view>

namespace corvane {

/// DMC files: each selects groups of diagnostic messages. "Default", "Tput", "Sleep" and "None" are built in; others are files
/// "<name>.json" in `folder`: {"groups": ["NAS", "RRC"]}.
/// @return what a file selects now. The refusal of an unknown name lists those that there are.
Result<DiagGroups> readDMCFile(const std::filesystem::path& folder, std::string_view name);

}  // namespace corvane
