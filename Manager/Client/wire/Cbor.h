#pragma once

#include <cstdint>

/// What RFC 8949 fixes and both directions of the codec use.
namespace ryn::wire {

enum class Major : std::uint8_t { Unsigned = 0, Negative = 1, Bytes = 2, Text = 3, Array = 4, Map = 5, Tag = 6, Simple = 7 };

inline constexpr std::uint8_t kFalse = 0xF4;
inline constexpr std::uint8_t kTrue = 0xF5;
inline constexpr std::uint8_t kNull = 0xF6;

/// Additional information of an initial byte: up to kLargestInline is the argument itself, the next four say that 1, 2, 4 or 8
/// bytes of it follow.
inline constexpr std::uint8_t kLargestInline = 23;
inline constexpr std::uint8_t kOneByte = 24;
inline constexpr std::uint8_t kEightBytes = 27;

/// The first item of each packet's array.
enum class Kind : std::uint8_t { Hello = 0, Request = 1, Reply = 2, Events = 3, Event = 4 };

}  // namespace ryn::wire
