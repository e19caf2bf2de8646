#include "Corvane/requests/Arguments.h"

#include <string>

namespace corvane {

namespace {

std::string_view nameOf(xpc_type_t type) {
    struct Name {
        xpc_type_t type;
        std::string_view name;
    };
    const Name names[] = {
        {XPC_TYPE_DICTIONARY, "a dictionary"}, {XPC_TYPE_ARRAY, "an array"}, {XPC_TYPE_STRING, "a string"},
        {XPC_TYPE_INT64, "an integer"},        {XPC_TYPE_BOOL, "a boolean"}, {XPC_TYPE_NULL, "null"},
    };
    for (const Name& candidate : names) {
        if (candidate.type == type) {
            return candidate.name;
        }
    }
    return "nothing";
}

}  // namespace

Arguments::Arguments(const xpc::Object& argument, Need need) {
    const xpc_type_t type = xpc_get_type(argument.get());
    if (type == XPC_TYPE_DICTIONARY) {
        argument_ = argument;
    } else if (need == Need::Dictionary || type != XPC_TYPE_NULL) {
        refuse("The argument is " + std::string(nameOf(type)) + "; a dictionary is required.");
    }
}

void Arguments::refuse(std::string sentence) {
    if (!refusal_) {
        refusal_ = Refusal{ResultCode::InvalidArgument, std::move(sentence)};
    }
}

xpc_object_t Arguments::find(const char* key, xpc_type_t type, bool required) {
    if (refusal_) {
        return nullptr;
    }
    xpc_object_t value = xpc_dictionary_get_value(argument_.get(), key);
    if (value == nullptr) {
        if (required) {
            refuse(std::string(key) + " is missing; it takes " + std::string(nameOf(type)) + ".");
        }
        return nullptr;
    }
    if (xpc_get_type(value) != type) {
        refuse(std::string(key) + " is " + std::string(nameOf(xpc_get_type(value))) + "; it takes " + std::string(nameOf(type)) +
               ".");
        return nullptr;
    }
    return value;
}

std::string_view Arguments::text(const char* key) {
    return textOf(key, find(key, XPC_TYPE_STRING, true), {});
}

std::string_view Arguments::optionalText(const char* key, std::string_view fallback) {
    return textOf(key, find(key, XPC_TYPE_STRING, false), fallback);
}

std::string_view Arguments::textOf(const char* key, xpc_object_t value, std::string_view fallback) {
    if (value == nullptr) {
        return fallback;
    }
    const std::string_view text(xpc_string_get_string_ptr(value), xpc_string_get_length(value));
    if (text.size() <= kLongestText) {
        return text;
    }
    refuse(std::string(key) + " has " + std::to_string(text.size()) + " bytes; it takes up to " + std::to_string(kLongestText) +
           ".");
    return fallback;
}

std::int64_t Arguments::number(const char* key, std::int64_t lowest, std::int64_t highest) {
    const auto value = optionalNumber(key, lowest, highest);
    if (!value) {
        refuse(std::string(key) + " is missing; it takes an integer.");
    }
    return value.value_or(0);
}

std::optional<std::int64_t> Arguments::optionalNumber(const char* key, std::int64_t lowest, std::int64_t highest) {
    xpc_object_t value = find(key, XPC_TYPE_INT64, false);
    if (value == nullptr) {
        return std::nullopt;
    }
    const std::int64_t number = xpc_int64_get_value(value);
    if (number < lowest || number > highest) {
        refuse(std::string(key) + " can't be " + std::to_string(number) + "; it takes " + std::to_string(lowest) + " to " +
               std::to_string(highest) + ".");
    }
    return number;
}

bool Arguments::optionalFlag(const char* key, bool fallback) {
    xpc_object_t value = find(key, XPC_TYPE_BOOL, false);
    return value == nullptr ? fallback : xpc_bool_get_value(value);
}

std::optional<std::int64_t> Arguments::numberOrNull(const char* key) {
    if (xpc_get_type(xpc_dictionary_get_value(argument_.get(), key)) == XPC_TYPE_NULL) {
        return std::nullopt;
    }
    xpc_object_t value = find(key, XPC_TYPE_INT64, true);
    return value == nullptr ? std::nullopt : std::optional(xpc_int64_get_value(value));
}

xpc_object_t Arguments::dictionary(const char* key) {
    return find(key, XPC_TYPE_DICTIONARY, true);
}

}  // namespace corvane
