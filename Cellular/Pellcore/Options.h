#pragma once

#include <optional>
#include <string>
#include <vector>

namespace pellcore {

/// What the program prints, and how it ends, instead of serving.
struct Exit {
    int status;        ///< 0, or 2 for a wrong word
    std::string text;  ///< for standard output when the status is 0, else for standard error
};

/// @return nullopt when the words ask for nothing but the service.
std::optional<Exit> parseOptions(const std::vector<std::string>& words);

}  // namespace pellcore
