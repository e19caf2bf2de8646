#pragma once

#include "platform/CoreFoundation/CoreFoundation.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What stands behind the CoreFoundation references.
struct CFObject {
    enum class Kind : std::uint8_t { String, Bool, Number };
    enum class Lifetime : std::uint8_t { Counted, Immortal };

    constexpr CFObject(Kind objectKind, Lifetime objectLifetime) : kind(objectKind), lifetime(objectLifetime) {}

    mutable std::atomic<std::uint32_t> references{1};
    const Kind kind;
    const Lifetime lifetime;
};

struct CFString : CFObject {
    constexpr CFString(std::string_view bytes, Lifetime objectLifetime) : CFObject(Kind::String, objectLifetime), text(bytes) {}
    std::string_view text;  ///< with a NUL behind its end
};

/// Owns its bytes.
struct CountedString final : CFString {
    explicit CountedString(const char* content) : CFString({}, Lifetime::Counted), bytes(content) { text = bytes; }
    const std::string bytes;
};

/// A string of static storage that is neither counted nor freed and needs no code at start:
///
///     constinit const ConstantString npaPowerLog("NPA");
///     const CFStringRef kNPAPowerLog = &npaPowerLog;
struct ConstantString : CFString {
    template <std::size_t size>
    constexpr explicit ConstantString(const char (&literal)[size]) : CFString({literal, size - 1}, Lifetime::Immortal) {}
};

struct CFBoolean : CFObject {
    constexpr explicit CFBoolean(bool truth) : CFObject(Kind::Bool, Lifetime::Immortal), value(truth) {}
    const bool value;
};

struct CFNumber : CFObject {
    explicit CFNumber(std::int64_t number) : CFObject(Kind::Number, Lifetime::Counted), value(number) {}
    const std::int64_t value;
};
