#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

namespace platform {

/// Reads a whole file. `missing` is true, without an error, when there is none; a file over `limit` bytes is an error.
struct FileContent {
    std::string bytes;
    std::error_code error;
    bool missing = false;
};
FileContent readFile(const std::string& path, std::size_t limit);

/// Whether a replaced file has to survive a power cut.
enum class Durability { None, Synced };

/// Replaces `path` by a file of `bytes`, so that every reader sees the old content or the new one. `temporary` is a name in the
/// same folder that no other writer uses meanwhile.
/// @return an error after which the old file is whole, or the new one when only its durability is in doubt
std::error_code replaceFile(const std::string& path, const std::string& temporary, std::string_view bytes, mode_t mode,
                            Durability durability);

/// Makes the folder and those above it that are missing, each with `mode`.
std::error_code makeFolders(const std::string& path, mode_t mode);

}  // namespace platform
