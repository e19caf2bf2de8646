#include "Corvane/baseband/OperatingMode.h"

#include "Corvane/support/Text.h"

#include <fmt/format.h>

#include <iterator>

namespace corvane {
namespace {

/// At the index of their number.
constexpr const char* kNames[] = {"online", "low power",     "factory test",         "offline",
                                  "reset",  "shutting down", "persistent low power", "mode-only low power"};
static_assert(std::size(kNames) == static_cast<std::size_t>(OperatingMode::ModeOnlyLowPower) + 1);

}  // namespace

Result<OperatingMode> operatingMode(std::int64_t number) {
    if (number >= 0 && number < std::ssize(kNames)) {
        return static_cast<OperatingMode>(number);
    }
    const auto describeName = [](const char* const& name) { return describe(static_cast<OperatingMode>(&name - kNames)); };
    return Refusal::invalidArgument(
        fmt::format("There is no operating mode {}; the modes are {}.", number, listed(kNames, " and ", describeName)));
}

std::string describe(OperatingMode mode) {
    return fmt::format("{} ({})", static_cast<int>(mode), kNames[static_cast<std::size_t>(mode)]);
}

std::string enumerate(std::span<const OperatingMode> modes) {
    return listed(modes, " and ", [](OperatingMode mode) { return describe(mode); });
}

}  // namespace corvane
