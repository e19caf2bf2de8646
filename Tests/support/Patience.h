#pragma once

#include <chrono>

namespace support {

/// Longer than anything takes on a loaded machine under a sanitizer: a wait that reaches it has failed.
inline constexpr std::chrono::seconds kPatience{60};

}  // namespace support
