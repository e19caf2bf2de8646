#pragma once

#include "platform/xpc/Object.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

/// Builds the arguments of manager commands and reads their replies.
///
/// A value that can't be created becomes the null object: the command is sent all the same, and the manager refuses it.
namespace payload {

xpc::Object null();
/// Keeps the bytes as they are.
xpc::Object string(std::string_view text);
xpc::Object integer(std::int64_t value);
xpc::Object flag(bool value);

struct Entry {
    const char* key;
    xpc::Object value;
};
xpc::Object dictionary(std::initializer_list<Entry> entries = {});
void set(const xpc::Object& dictionary, const char* key, const xpc::Object& value);

/// The string under `key`; the text of `ryn::kUnknown` when it is absent, no string, or `reply` no dictionary.
std::string readString(const xpc::Object& reply, const char* key);
/// The integer under `key` as a signed 32-bit number; `fallback` when it is absent, no integer, or `reply` no dictionary.
std::int32_t readInteger(const xpc::Object& reply, const char* key, std::int32_t fallback);

}  // namespace payload
