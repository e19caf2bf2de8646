#pragma once

#include <string>
#include <string_view>

namespace platform {

/// Says in one sentence what is wrong with a file of the user's: on standard error, unless the program has its own log.
void report(const std::string& sentence);

/// Hands every later sentence to `taker`. To be called before threads start.
void reportTo(void (*taker)(std::string_view sentence));

}  // namespace platform
