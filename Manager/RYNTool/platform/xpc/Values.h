#pragma once

#include "platform/xpc/Object.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Making and reading XPC objects.
///
/// A value that can't be created becomes the null object: a command is sent all the same, and the manager refuses it.
namespace xpc {

Object null();
/// Keeps the bytes as they are.
Object text(std::string_view bytes);
Object number(std::int64_t value);
Object boolean(bool value);
Object dictionary(std::initializer_list<std::pair<const char*, Object>> entries = {});
using Entry = std::pair<std::string, Object>;
/// @return an empty object when a key stands twice.
Object dictionaryOf(std::vector<Entry> entries);
Object array(std::vector<Object> values);
/// Sets or replaces an entry of a dictionary that is still being made.
void set(const Object& dictionary, const char* key, const Object& value);

/// nullopt when `dictionary` is none, or what stands under `key` is absent or of another type.
std::optional<std::string> textAt(const Object& dictionary, const char* key);
std::optional<std::int64_t> numberAt(const Object& dictionary, const char* key);

/// About how much memory the object takes with all that is in it, in bytes. What it holds twice counts twice.
std::size_t memoryOf(const Object& object);

}  // namespace xpc
