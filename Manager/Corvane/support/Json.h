#pragma once

#include "platform/xpc/Object.h"

#include <string>
#include <string_view>

namespace corvane {

/// The XPC object that JSON stands for, with null in place of numbers with a fraction.
/// @param deepest see platform::parseJson
/// @return none when `text` isn't JSON, null when it is deeper.
xpc::Object parseJson(std::string_view text, int deepest);

/// A dictionary as a person reads it in a file: an entry a line, indented, a list of numbers on one line.
std::string readableJson(const xpc::Object& dictionary);

}  // namespace corvane
