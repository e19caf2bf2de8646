#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace corvane {

/// A kind of the baseband's diagnostic messages. DMC files choose among them by name.
enum class DiagGroup : std::uint32_t { NAS, RRC, Broadcast, Paging, Log, Measurements, Throughput };
inline constexpr std::array<std::string_view, 7> kDiagGroupNames{"NAS", "RRC",          "Broadcast", "Paging",
                                                                 "Log", "Measurements", "Throughput"};

/// A set of groups.
class DiagGroups {
public:
    constexpr DiagGroups() = default;
    constexpr DiagGroups(std::initializer_list<DiagGroup> groups) {
        for (const DiagGroup group : groups) {
            add(group);
        }
    }
    constexpr void add(DiagGroup group) { bits_ |= 1U << static_cast<std::uint32_t>(group); }
    constexpr bool contains(DiagGroup group) const { return (bits_ & 1U << static_cast<std::uint32_t>(group)) != 0; }
    constexpr bool empty() const { return bits_ == 0; }
    constexpr DiagGroups operator|(DiagGroups other) const {
        DiagGroups both;
        both.bits_ = bits_ | other.bits_;
        return both;
    }
    constexpr bool operator==(const DiagGroups&) const = default;

private:
    std::uint32_t bits_ = 0;
};

/// What the baseband is to do with its diagnostic messages. Groups are empty at first.
struct DiagSettings {
    DiagGroups awake;   ///< sent while the application processor is awake
    DiagGroups asleep;  ///< sent while it sleeps
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
