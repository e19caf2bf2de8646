#pragma once

#include "Platform/CoreFoundation/Object.h"

namespace platform {

/// A string of static storage that is neither counted nor freed and needs no code at start:
///
///     constinit const platform::ConstantString npaPowerLog("NPA");
///     const CFStringRef kNPAPowerLog = &npaPowerLog;
struct ConstantString : CFString {
    template <std::size_t size>
    constexpr explicit ConstantString(const char (&literal)[size]) : CFString({literal, size - 1}, Lifetime::Immortal) {}
};

}  // namespace platform
