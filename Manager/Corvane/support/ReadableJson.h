#pragma once

#include "platform/xpc/Object.h"

#include <string>

namespace corvane {

/// A dictionary as a person reads it in a file: an entry a line, indented, a list of numbers on one line.
std::string readableJson(const xpc::Object& dictionary);

}  // namespace corvane
