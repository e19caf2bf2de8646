#include "Corvane/baseband/BootState.h"

#include <fmt/format.h>

#include <cstddef>
#include <iterator>

namespace corvane {

const char* nameOf(BootState state) {
    constexpr const char* kNames[] = {"Off", "Booting", "Ready", "Resetting"};
    static_assert(std::size(kNames) == static_cast<std::size_t>(BootState::Resetting) + 1);
    return kNames[static_cast<std::size_t>(state)];
}

std::string describe(const BootStatus& status) {
    const std::string name = nameOf(status.state);
    return status.failure.empty() ? name : fmt::format("{} ({})", name, status.failure);
}

}  // namespace corvane
