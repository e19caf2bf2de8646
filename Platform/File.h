#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

namespace platform {

/// Reads a whole regular file of at most `limit` bytes. Anything else is refused, so that no FIFO or device is waited for.
struct FileContent {
    std::string bytes;
    std::string problem;   ///< why it could not be read, in a few words; empty when it was, or when there is none
    bool missing = false;  ///< there is none
};
FileContent readFile(const std::string& path, std::size_t limit);

/// Where a path leads that may be a symbolic link. The end of the chain need not exist.
std::string followLinks(std::string path);

/// Replaces `path` by a file of `bytes`, so that every reader sees the old content or the new one. `temporary` is a name in the
/// same folder that no other writer uses meanwhile; what a killed writer left there is removed.
/// @return an error after which the old file is whole
std::error_code replaceFile(const std::string& path, const std::string& temporary, std::string_view bytes, mode_t mode);

/// The two steps of a replacement that survives a power cut. Each waits for one sync of the disk. After an error of the first,
/// and of the renaming, there is no temporary file; when only the durability of the renaming is in doubt, the new file stands.
/// @param path absolute
std::error_code writeSynced(const std::string& temporary, std::string_view bytes, mode_t mode);
std::error_code renameSynced(const std::string& temporary, const std::string& path);

/// Makes the folder and those above it that are missing, each with `mode`.
std::error_code makeFolders(const std::string& path, mode_t mode);

}  // namespace platform
