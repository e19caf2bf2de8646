#pragma once

#include "platform/xpc/Object.h"

#include <cstdint>
#include <string_view>

/// ModemManager's words for its numbers, as mmcli(1) shows them; "unknown" for a number without one.
namespace corvane::modemmanager {

std::string_view stateName(std::int64_t state);
std::string_view failedReasonName(std::int64_t reason);
std::string_view powerStateName(std::int64_t state);
std::string_view lockName(std::int64_t lock);

/// A property's value with words in place of its numbers, where there are such words; the value as it is otherwise.
xpc::Object named(std::string_view interface, std::string_view property, const xpc::Object& value);

}  // namespace corvane::modemmanager
