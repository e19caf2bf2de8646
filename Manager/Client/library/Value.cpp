#include "ryn/Value.h"

#include "Client/library/Conversions.h"
#include "platform/xpc/Values.h"

#include <algorithm>
#include <iterator>

namespace ryn {

std::optional<bool> Value::boolean() const {
    const bool* const found = std::get_if<bool>(&content_);
    return found == nullptr ? std::nullopt : std::optional(*found);
}

std::optional<std::int64_t> Value::integer() const {
    const auto* const found = std::get_if<std::int64_t>(&content_);
    return found == nullptr ? std::nullopt : std::optional(*found);
}

const Value& Value::operator[](std::string_view key) const {
    static const Value kNull;
    const Dictionary* const entries = dictionary();
    const auto found = entries == nullptr ? Dictionary::const_iterator() : entries->find(key);
    return entries == nullptr || found == entries->end() ? kNull : found->second;
}

std::string Value::toJson() const {
    return xpc::to_string(toObject(*this));
}

xpc::Object toObject(const Value& value) {
    if (const auto flag = value.boolean()) {
        return xpc::boolean(*flag);
    }
    if (const auto number = value.integer()) {
        return xpc::number(*number);
    }
    if (const std::string* const text = value.string()) {
        return xpc::text(*text);
    }
    if (const Array* const values = value.array()) {
        std::vector<xpc::Object> objects;
        std::ranges::transform(*values, std::back_inserter(objects), toObject);
        return xpc::array(std::move(objects));
    }
    if (const Dictionary* const entries = value.dictionary()) {
        xpc::Object made = xpc::dictionary();
        for (const auto& [key, one] : *entries) {
            xpc::set(made, key.c_str(), toObject(one));
        }
        return made;
    }
    return xpc::null();
}

Value toValue(xpc_object_t object) {
    const xpc_type_t type = xpc_get_type(object);
    if (type == XPC_TYPE_BOOL) {
        return xpc_bool_get_value(object);
    }
    if (type == XPC_TYPE_INT64) {
        return xpc_int64_get_value(object);
    }
    if (type == XPC_TYPE_STRING) {
        return std::string(xpc_string_get_string_ptr(object), xpc_string_get_length(object));
    }
    if (type == XPC_TYPE_ARRAY) {
        Array values;
        for (std::size_t index = 0; index < xpc_array_get_count(object); ++index) {
            values.push_back(toValue(xpc_array_get_value(object, index)));
        }
        return values;
    }
    if (type == XPC_TYPE_DICTIONARY) {
        Dictionary entries;
        xpc_dictionary_apply(object, [&entries](const char* key, xpc_object_t value) {
            entries.emplace(key, toValue(value));
            return true;
        });
        return entries;
    }
    return {};
}

}  // namespace ryn
