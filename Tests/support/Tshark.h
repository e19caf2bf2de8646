#pragma once

#include "support/Process.h"

#include <filesystem>
#include <string>
#include <vector>

namespace support {

/// What tshark shows of a file, a line a packet: the given fields, separated by tabs. Checks the checksums too.
Outcome tshark(const std::filesystem::path& file, const std::vector<std::string>& fields, const std::string& filter = {});

/// Nothing is wrong with a file of packets: none malformed, none with a note of tshark's, times in order. Else what is.
std::string wrongPackets(const std::filesystem::path& file);

}  // namespace support
