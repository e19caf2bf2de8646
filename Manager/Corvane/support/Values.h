#pragma once

#include "platform/xpc/Object.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// Making and reading the typed values of commands, replies and events.
namespace corvane {

xpc::Object text(std::string_view value);
xpc::Object number(std::int64_t value);
xpc::Object boolean(bool value);
xpc::Object dictionary(std::initializer_list<std::pair<const char*, xpc::Object>> entries);

/// nullopt when `object` is no dictionary, or what stands under `key` is absent or of another type.
std::optional<std::string> textAt(const xpc::Object& object, const char* key);
std::optional<std::int64_t> numberAt(const xpc::Object& object, const char* key);
std::optional<bool> booleanAt(const xpc::Object& object, const char* key);

}  // namespace corvane
