#pragma once

#include "platform/xpc/Object.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// What stands behind an `xpc_object_t`. Only the sources of this folder, the encoder and the
/// client library look inside.
struct xpc_object {
    using Null = std::monostate;
    using Array = std::vector<xpc::Object>;
    using Dictionary = std::vector<std::pair<std::string, xpc::Object>>;  ///< in ascending order of the keys, each of them once

    std::variant<Null, bool, std::int64_t, std::string, Array, Dictionary> value;
    std::atomic<std::uint32_t> references{1};
};
