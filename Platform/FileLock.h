#pragma once

#include "Platform/FileDescriptor.h"

#include <chrono>
#include <string>

namespace platform {

/// An exclusive lock between processes, held while the object lives. The lock file is made (0600) and stays.
class FileLock {
public:
    /// Tries for at most `patience`, since a holder may have been stopped with the lock in its hands.
    FileLock(const std::string& path, std::chrono::milliseconds patience);

    bool isHeld() const { return problem_.empty(); }
    /// Why it is not held, in a few words; empty when it is.
    const std::string& problem() const { return problem_; }

private:
    FileDescriptor file_;
    std::string problem_;
};

}  // namespace platform
