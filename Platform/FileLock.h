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

    bool isHeld() const { return held_; }

private:
    FileDescriptor file_;
    bool held_ = false;
};

}  // namespace platform
