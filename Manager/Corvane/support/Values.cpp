#include "Corvane/support/Values.h"

namespace corvane {
namespace {

/// Borrowed; nullptr when it is absent or of another type.
xpc_object_t valueAt(const xpc::Object& object, const char* key, xpc_type_t type) {
    xpc_object_t value = object.isDictionary() ? xpc_dictionary_get_value(object.get(), key) : nullptr;
    return value != nullptr && xpc_get_type(value) == type ? value : nullptr;
}

}  // namespace

xpc::Object text(std::string_view value) {
    return xpc::Object::adopt(xpc_string_create_with_length(value.data(), value.size()));
}

xpc::Object number(std::int64_t value) {
    return xpc::Object::adopt(xpc_int64_create(value));
}

xpc::Object boolean(bool value) {
    return xpc::Object::adopt(xpc_bool_create(value));
}

xpc::Object dictionary(std::initializer_list<std::pair<const char*, xpc::Object>> entries) {
    auto made = xpc::Object::adopt(xpc_dictionary_create(nullptr, nullptr, 0));
    for (const auto& [key, value] : entries) {
        xpc_dictionary_set_value(made.get(), key, value.get());
    }
    return made;
}

std::optional<std::string> textAt(const xpc::Object& object, const char* key) {
    xpc_object_t value = valueAt(object, key, XPC_TYPE_STRING);
    if (value == nullptr) {
        return std::nullopt;
    }
    return std::string(xpc_string_get_string_ptr(value), xpc_string_get_length(value));
}

std::optional<std::int64_t> numberAt(const xpc::Object& object, const char* key) {
    xpc_object_t value = valueAt(object, key, XPC_TYPE_INT64);
    return value == nullptr ? std::nullopt : std::optional(xpc_int64_get_value(value));
}

std::optional<bool> booleanAt(const xpc::Object& object, const char* key) {
    xpc_object_t value = valueAt(object, key, XPC_TYPE_BOOL);
    return value == nullptr ? std::nullopt : std::optional(xpc_bool_get_value(value));
}

}  // namespace corvane
