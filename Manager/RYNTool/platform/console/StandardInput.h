#pragma once

#include <cstddef>

namespace platform {

/// Reads what standard input has, and waits only while it has nothing.
/// @return how many bytes; 0 at the end of input, or when it can't be read.
std::size_t readStandardInput(char* buffer, std::size_t size);

}  // namespace platform
