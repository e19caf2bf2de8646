#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

/// The platform's typed values: the objects that carry commands, replies and events.
///
/// Values are immutable once made; dictionaries and arrays are containers that their maker fills before sharing them.
/// Reference counts are atomic, so an object may be retained, released and read from any thread. Every `create`
/// returns one reference that the caller releases; every `get` returns a borrowed pointer that lives as long as its container.
/// Creation returns nullptr only when memory runs out or a required text is nullptr. An entry or element that is nullptr is left
/// out.
struct xpc_object;
using xpc_object_t = xpc_object*;

struct xpc_type;
using xpc_type_t = const xpc_type*;

extern const xpc_type_t XPC_TYPE_DICTIONARY;
extern const xpc_type_t XPC_TYPE_ARRAY;
extern const xpc_type_t XPC_TYPE_STRING;
extern const xpc_type_t XPC_TYPE_INT64;
extern const xpc_type_t XPC_TYPE_BOOL;
extern const xpc_type_t XPC_TYPE_NULL;

/// Adds a reference and returns `object`.
xpc_object_t xpc_retain(xpc_object_t object);
void xpc_release(xpc_object_t object);

/// The object's type; nullptr for nullptr.
xpc_type_t xpc_get_type(xpc_object_t object);

/// A dictionary of `count` entries: `keys[i]` maps to `values[i]` (retained). Both may be nullptr when `count` is 0.
xpc_object_t xpc_dictionary_create(const char* const* keys, const xpc_object_t* values, std::size_t count);
/// Sets or replaces the entry and retains `value`; a nullptr `value` removes the entry. Keys are C strings, bytes kept unchanged.
void xpc_dictionary_set_value(xpc_object_t dictionary, const char* key, xpc_object_t value);
/// Borrowed; nullptr when the key is absent or `dictionary` is not a dictionary.
xpc_object_t xpc_dictionary_get_value(xpc_object_t dictionary, const char* key);
std::size_t xpc_dictionary_get_count(xpc_object_t dictionary);
/// Calls `visit` for each entry in ascending byte order of the keys, until it returns false. @return whether all were visited.
bool xpc_dictionary_apply(xpc_object_t dictionary, const std::function<bool(const char* key, xpc_object_t value)>& visit);

xpc_object_t xpc_array_create(const xpc_object_t* values, std::size_t count);
/// Retains `value`.
void xpc_array_append_value(xpc_object_t array, xpc_object_t value);
std::size_t xpc_array_get_count(xpc_object_t array);
/// Borrowed; nullptr when `index` is out of range or `array` is not an array.
xpc_object_t xpc_array_get_value(xpc_object_t array, std::size_t index);

/// Copies the C string; its bytes stay as they are, UTF-8 or not.
xpc_object_t xpc_string_create(const char* text);
/// Copies `length` bytes, which may hold NUL.
xpc_object_t xpc_string_create_with_length(const char* bytes, std::size_t length);
/// NUL-terminated, lives as long as the object; nullptr when the object is not a string.
const char* xpc_string_get_string_ptr(xpc_object_t string);
/// In bytes, without the terminator; 0 when the object is not a string.
std::size_t xpc_string_get_length(xpc_object_t string);

xpc_object_t xpc_int64_create(std::int64_t value);
/// 0 when the object is not an integer.
std::int64_t xpc_int64_get_value(xpc_object_t integer);

xpc_object_t xpc_bool_create(bool value);
/// false when the object is not a bool.
bool xpc_bool_get_value(xpc_object_t boolean);

xpc_object_t xpc_null_create();
