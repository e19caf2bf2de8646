#pragma once

#include <nlohmann/json.hpp>

#include <string_view>

namespace platform {

/// @param deepest how many objects and lists may lie in one another: whoever copies or writes a deeper tree would overflow the
/// stack.
/// @return discarded when `text` isn't JSON, null when it is deeper.
nlohmann::json parseJson(std::string_view text, int deepest);

}  // namespace platform
