#include "Corvane/requests/Arguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace corvane {

namespace {

const char* nameOf(xpc_type_t type) {
    const std::pair<xpc_type_t, const char*> names[] = {
        {XPC_TYPE_DICTIONARY, "a dictionary"}, {XPC_TYPE_ARRAY, "an array"}, {XPC_TYPE_STRING, "a string"},
        {XPC_TYPE_INT64, "an integer"},        {XPC_TYPE_BOOL, "a boolean"}, {XPC_TYPE_NULL, "null"},
    };
    const auto* const found = std::ranges::find(names, type, &std::pair<xpc_type_t, const char*>::first);
    return found == std::end(names) ? "nothing" : found->second;
}

/// Borrowed. A value of another type is refused, and so is one that is absent unless it is optional: nullptr then.
Result<xpc_object_t> find(const xpc::Object& argument, const char* key, xpc_type_t type, bool isOptional) {
    xpc_object_t value = xpc_dictionary_get_value(argument.get(), key);
    if (value == nullptr && !isOptional) {
        return Refusal::invalidArgument(fmt::format("{} is missing; it takes {}.", key, nameOf(type)));
    }
    if (value != nullptr && xpc_get_type(value) != type) {
        return Refusal::invalidArgument(fmt::format("{} is {}; it takes {}.", key, nameOf(xpc_get_type(value)), nameOf(type)));
    }
    return value;
}

Result<std::string_view> textOf(const char* key, xpc_object_t value) {
    const std::string_view text(xpc_string_get_string_ptr(value), xpc_string_get_length(value));
    if (text.size() > kLongestText) {
        return Refusal::invalidArgument(fmt::format("{} has {} bytes; it takes up to {}.", key, text.size(), kLongestText));
    }
    return text;
}

Result<std::int64_t> numberOf(const OptionalNumber& accepted, xpc_object_t value) {
    const std::int64_t number = xpc_int64_get_value(value);
    if (number < accepted.lowest || number > accepted.highest) {
        return Refusal::invalidArgument(
            fmt::format("{} can't be {}; it takes {} to {}.", accepted.key, number, accepted.lowest, accepted.highest));
    }
    return number;
}

}  // namespace

Result<void> checkArgument(const xpc::Object& argument, bool mandatory) {
    const xpc_type_t type = xpc_get_type(argument.get());
    if (type == XPC_TYPE_DICTIONARY || (type == XPC_TYPE_NULL && !mandatory)) {
        return {};
    }
    return Refusal::invalidArgument(fmt::format("The argument is {}; a dictionary is required.", nameOf(type)));
}

Refusal unknownChoice(const char* key, std::string_view name, const std::string& names) {
    return Refusal::invalidArgument(fmt::format("{} can't be '{}'; it takes {}.", key, name, names));
}

Result<std::string_view> Text::read(const xpc::Object& argument) const {
    return find(argument, key, XPC_TYPE_STRING, false).then([this](xpc_object_t found) { return textOf(key, found); });
}

Result<std::string_view> OptionalText::read(const xpc::Object& argument) const {
    return find(argument, key, XPC_TYPE_STRING, true).then([this](xpc_object_t found) {
        return found == nullptr ? Result<std::string_view>(fallback) : textOf(key, found);
    });
}

Result<std::optional<std::int64_t>> OptionalNumber::read(const xpc::Object& argument) const {
    return find(argument, key, XPC_TYPE_INT64, true).then([this](xpc_object_t found) {
        return found == nullptr ? Result(Value())
                                : numberOf(*this, found).then([](std::int64_t number) { return Value(number); });
    });
}

Result<std::int64_t> Number::read(const xpc::Object& argument) const {
    return find(argument, key, XPC_TYPE_INT64, false).then([this](xpc_object_t found) { return numberOf(*this, found); });
}

Result<std::optional<std::int64_t>> NumberOrNull::read(const xpc::Object& argument) const {
    if (xpc_get_type(xpc_dictionary_get_value(argument.get(), key)) == XPC_TYPE_NULL) {
        return Value();
    }
    return Number{key}.read(argument).then([](std::int64_t number) { return Value(number); });
}

Result<bool> OptionalFlag::read(const xpc::Object& argument) const {
    return find(argument, key, XPC_TYPE_BOOL, true).then([this](xpc_object_t found) {
        return found == nullptr ? fallback : xpc_bool_get_value(found);
    });
}

Result<xpc::Object> Dictionary::read(const xpc::Object& argument) const {
    return find(argument, key, XPC_TYPE_DICTIONARY, false).then(xpc::Object::share);
}

Result<xpc::Object> Anything::read(const xpc::Object& argument) const {
    return xpc::Object::share(xpc_dictionary_get_value(argument.get(), key));
}

}  // namespace corvane
