#pragma once

#include "platform/xpc/Values.h"

namespace corvane {

using xpc::boolean;
using xpc::dictionary;
using xpc::number;
using xpc::numberAt;
using xpc::text;
using xpc::textAt;

/// Sets or replaces every entry of `entries`, a dictionary or nothing, in one that is still being made.
inline void setAll(const xpc::Object& dictionary, const xpc::Object& entries) {
    xpc_dictionary_apply(entries.get(), [&dictionary](const char* key, xpc_object_t value) {
        xpc_dictionary_set_value(dictionary.get(), key, value);
        return true;
    });
}

}  // namespace corvane
