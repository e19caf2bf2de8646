#pragma once

#include <cstddef>
#include <string_view>

/// Standard input, output and error, which belong to whoever started the program.
namespace platform {

/// Opens /dev/null on those of the three that are closed, so that nothing that the program opens becomes one of them.
/// Every program's first act.
void openStandardStreams();

/// Waits for input and takes what has come, at most `size` bytes. @return how many; 0 at the end of input, or when it can't be
/// read.
std::size_t readStandardInput(char* buffer, std::size_t size);

/// The values are those of the descriptors.
enum class Stream { Output = 1, Error = 2 };

/// Writes all of `text`, for as long as a slow reader takes. A terminal gets characters that would control it, invalid UTF-8
/// among them, as "\u001b" or "\xff"; tabs and ends of lines stay.
/// @return 0, or the error number (errno(3)) of what kept the rest from being written.
int writeStandardStream(Stream stream, std::string_view text);

}  // namespace platform
