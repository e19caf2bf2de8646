#pragma once

#include "platform/CoreFoundation/CoreFoundation.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What stands behind the CoreFoundation references.
struct CFObject {
    enum class Kind : std::uint8_t { String, Bool, Number };
    enum class Lifetime : std::uint8_t { Owned, Immortal };

    constexpr CFObject(Kind objectKind, Lifetime objectLifetime) : kind(objectKind), lifetime(objectLifetime) {}

    const Kind kind;
    const Lifetime lifetime;
};

struct CFString : CFObject {
    constexpr CFString(std::string_view bytes, Lifetime objectLifetime) : CFObject(Kind::String, objectLifetime), text(bytes) {}
    std::string_view text;  ///< with a NUL behind its end
};

/// Owns its bytes.
struct OwnedString final : CFString {
    explicit OwnedString(const char* content) : CFString({}, Lifetime::Owned), bytes(content) { text = bytes; }
    const std::string bytes;
};

/// A string of static storage that is never freed and needs no code at start:
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
    explicit CFNumber(std::int64_t number) : CFObject(Kind::Number, Lifetime::Owned), value(number) {}
    const std::int64_t value;
};
