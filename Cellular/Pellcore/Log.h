#pragma once

#include <string>

namespace pellcore {

/// One line on standard error. Control characters, which only a strange manager would send, show as '?'.
void log(std::string line);

}  // namespace pellcore
