#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace corvane {

/// The kinds of the baseband's diagnostic messages, each a bit. DMC files choose among them by name.
struct DiagGroup {
    enum Bit : std::uint32_t { NAS = 1, RRC = 2, Broadcast = 4, Paging = 8, Log = 16, Measurements = 32, Throughput = 64 };
};
/// In the order of their bits.
inline constexpr std::array<std::string_view, 7> kDiagGroupNames{"NAS", "RRC",          "Broadcast", "Paging",
                                                                 "Log", "Measurements", "Throughput"};
static_assert(DiagGroup::Throughput == 1U << (kDiagGroupNames.size() - 1));
/// A set of them.
using DiagGroups = std::uint32_t;

/// What the baseband is to do with its diagnostic messages. Groups are empty at first.
struct DiagSettings {
    DiagGroups awake = 0;   ///< sent while the application processor is awake
    DiagGroups asleep = 0;  ///< sent while it sleeps
    /// Messages gather in the baseband's buffer until it is filled to `highWatermark`, and go out until it is down to
    /// `lowWatermark`, in percent. Off: each goes out at once.
    bool useThreshold = false;
    unsigned lowWatermark = 0;
    unsigned highWatermark = 100;
    bool holdUntilAwake = false;  ///< messages stay in the buffer while the application processor sleeps
    bool hold = false;            ///< messages stay in the buffer

    bool operator==(const DiagSettings&) const = default;
};

}  // namespace corvane
