#pragma once

#include "platform/xpc/Object.h"

#include <string_view>

namespace corvane::modemmanager {

/// A property's value with ModemManager's words in place of its numbers, where there are such words; the value as it is
/// otherwise.
xpc::Object named(std::string_view interface, std::string_view property, const xpc::Object& value);

}  // namespace corvane::modemmanager
