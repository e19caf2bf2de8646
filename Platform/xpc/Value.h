#pragma once

#include "platform/xpc/Object.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

/// What stands behind an `xpc_object_t`. Only the sources of this folder look inside.
struct xpc_object {
    using Null = std::monostate;
    using Array = std::vector<xpc::Object>;
    using Dictionary = std::map<std::string, xpc::Object, std::less<>>;

    std::variant<Null, bool, std::int64_t, std::string, Array, Dictionary> value;
    std::atomic<std::uint32_t> references{1};
};
