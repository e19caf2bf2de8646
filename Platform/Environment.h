#pragma once

#include <cstdlib>
#include <string_view>

namespace platform {

/// The value of an environment variable; empty when it is unset.
inline std::string_view environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string_view() : value;
}

}  // namespace platform
