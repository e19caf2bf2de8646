#include "platform/xpc/Values.h"

#include "Platform/xpc/Value.h"

namespace xpc {
namespace {

Object orNull(xpc_object_t created) {
    return created == nullptr ? null() : Object::adopt(created);
}

template <typename Value>
std::optional<Value> valueAt(const Object& dictionary, const char* key) {
    const xpc_object_t found = xpc_dictionary_get_value(dictionary.get(), key);
    const auto* const value = found == nullptr ? nullptr : std::get_if<Value>(&found->value);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

}  // namespace

Object null() {
    return Object::adopt(xpc_null_create());
}

Object text(std::string_view bytes) {
    return orNull(xpc_string_create_with_length(bytes.data(), bytes.size()));
}

Object number(std::int64_t value) {
    return orNull(xpc_int64_create(value));
}

Object boolean(bool value) {
    return Object::adopt(xpc_bool_create(value));
}

Object dictionary(std::initializer_list<std::pair<const char*, Object>> entries) {
    auto made = orNull(xpc_dictionary_create(nullptr, nullptr, 0));
    for (const auto& [key, value] : entries) {
        set(made, key, value);
    }
    return made;
}

void set(const Object& dictionary, const char* key, const Object& value) {
    xpc_dictionary_set_value(dictionary.get(), key, value.get());
}

std::optional<std::string> textAt(const Object& dictionary, const char* key) {
    return valueAt<std::string>(dictionary, key);
}

std::optional<std::int64_t> numberAt(const Object& dictionary, const char* key) {
    return valueAt<std::int64_t>(dictionary, key);
}

std::optional<bool> booleanAt(const Object& dictionary, const char* key) {
    return valueAt<bool>(dictionary, key);
}

}  // namespace xpc
