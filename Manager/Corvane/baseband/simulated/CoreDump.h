#pragma once

#include <string>
#include <string_view>

namespace corvane::simulated {

/// What a crash leaves: an ELF core file of a 32-bit processor, with the reason where such files have the command line of a
/// process, and as a note of its own. @param memory what the one segment of memory holds.
std::string coreDump(std::string_view reason, std::string_view memory);

}  // namespace corvane::simulated
