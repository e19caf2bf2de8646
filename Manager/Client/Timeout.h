#pragma once

#include "platform/xpc/Object.h"

#include <chrono>
#include <string_view>

namespace ryn::client {

/// How long a command waits for its reply: "KeyTimeout" seconds of its argument and 5 more when that is present and
/// positive (a year at most); else 300 s for the commands that work for minutes, 60 s for the others.
std::chrono::seconds timeoutOf(std::string_view command, const xpc::Object& argument);

}  // namespace ryn::client
