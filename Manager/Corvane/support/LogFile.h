#pragma once

#include "Platform/FileDescriptor.h"

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>

namespace corvane {

/// A file of lines, each with its time in front. A full file takes the place of the older one, so that both together have at most
/// twice the largest size, and a line.
class LogFile {
public:
    /// The file and its folder are made with the first line. @param largest in bytes
    /// @param readers the group that may read it beside the daemon; nobody where there is none or the daemon isn't in it
    LogFile(std::filesystem::path path, std::uint64_t largest, std::optional<gid_t> readers)
        : path_(std::move(path)), largest_(largest), readers_(readers) {}

    void setLargest(std::uint64_t bytes) { largest_ = bytes; }
    /// Never blocks on anything but the disk. The first of several lines that can't be written is an error in the log.
    void write(std::string_view line);
    void remove();

    const std::filesystem::path& current() const { return path_; }
    std::filesystem::path older() const { return path_.string() + ".1"; }

private:
    bool open();

    std::filesystem::path path_;
    std::uint64_t largest_;
    std::optional<gid_t> readers_;
    platform::FileDescriptor file_;
    std::uint64_t size_ = 0;
    bool isRefused_ = false;  ///< could not be opened, which has been said
};

}  // namespace corvane
