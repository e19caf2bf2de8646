#include "commands/Payload.h"

#include "platform/ryn/constants.h"
#include "platform/vsk/SorvexUtil.h"

namespace payload {
namespace {

xpc::Object orNull(xpc_object_t created) {
    return created == nullptr ? null() : xpc::Object::adopt(created);
}

}  // namespace

xpc::Object null() {
    return xpc::Object::adopt(xpc_null_create());
}

xpc::Object string(std::string_view text) {
    return orNull(xpc_string_create_with_length(text.data(), text.size()));
}

xpc::Object integer(std::int64_t value) {
    return orNull(xpc_int64_create(value));
}

xpc::Object flag(bool value) {
    return orNull(xpc_bool_create(value));
}

xpc::Object dictionary(std::initializer_list<Entry> entries) {
    auto created = orNull(xpc_dictionary_create(nullptr, nullptr, 0));
    for (const auto& [key, value] : entries) {
        set(created, key, value);
    }
    return created;
}

void set(const xpc::Object& dictionary, const char* key, const xpc::Object& value) {
    if (dictionary.isDictionary()) {
        xpc_dictionary_set_value(dictionary.get(), key, value.get());
    }
}

std::string readString(const xpc::Object& reply, const char* key) {
    const auto value = xpc_dictionary_get_value(reply.get(), key);
    const char* const text = xpc_string_get_string_ptr(value);
    return text == nullptr ? ryn::kUnknown : std::string(text, xpc_string_get_length(value));
}

std::int32_t readInteger(const xpc::Object& reply, const char* key, std::int32_t fallback) {
    return vsk::toInt32(xpc_dictionary_get_value(reply.get(), key), fallback);
}

}  // namespace payload
