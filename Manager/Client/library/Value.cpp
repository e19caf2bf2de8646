#include "ryn/Value.h"

#include "Client/library/Conversions.h"
#include "Platform/xpc/Value.h"
#include "platform/xpc/Values.h"

#include <algorithm>
#include <iterator>

namespace ryn {
namespace {

struct ToValue {
    Value operator()(xpc_object::Null) const { return {}; }
    Value operator()(const xpc_object::Array& array) const {
        Array values;
        for (const auto& value : array) {
            values.push_back(toValue(value.get()));
        }
        return values;
    }
    Value operator()(const xpc_object::Dictionary& dictionary) const {
        Dictionary entries;
        for (const auto& [key, value] : dictionary) {
            entries.emplace(key, toValue(value.get()));
        }
        return entries;
    }
    Value operator()(const auto& scalar) const { return scalar; }
};

}  // namespace

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
    return object == nullptr ? Value() : std::visit(ToValue(), object->value);
}

}  // namespace ryn
