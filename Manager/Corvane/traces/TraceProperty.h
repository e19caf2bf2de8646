#pragma once

#include "Corvane/support/Result.h"
#include "config/TraceType.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// One property of one trace kind: what it may be set to, and what it is when nobody has.
struct TraceProperty {
    enum class Form {
        Flag,      ///< "true" or "false"
        Number,    ///< decimal, `lowest` to `highest`
        Choice,    ///< one of `choices` in any letter case, or its number counted from 0
        FileName,  ///< 1 to 255 bytes, a printable name without folders
    };
    enum class Keeping {
        Stored,       ///< in the settings store
        Temporary,    ///< until the manager ends
        Preferences,  ///< in the manager's preferences, where others may change it too
        ReadOnly,     ///< told by the manager
    };

    /// Of the RYN trace: whether its logs stay when they were collected.
    static constexpr const char* kKeepScratchLogs = "KeepScratchLogs";
    /// Of KernelPCI: how many files there may be.
    static constexpr const char* kBufferCount = "BufferCount";
    /// What DIAG's Status is: whether messages are being written.
    static constexpr const char* kIdle = "Idle";
    static constexpr const char* kDumping = "Dumping";

    ryn::trace::Type trace;
    const char* name;
    Form form;
    Keeping keeping;
    std::string byDefault;
    std::int64_t lowest = 0;
    std::int64_t highest = 0;
    std::vector<std::string> choices = {};
    /// Of a property in the preferences: reads what is stored now, and stores. @return of `write`: whether it is on disk.
    std::string (*read)() = nullptr;
    bool (*write)(const std::string& value) = nullptr;

    /// The value as it is kept and shown. A refusal is a clause: "takes true or false", "takes a whole number from 1 to 2048".
    Result<std::string> accept(std::string_view value) const;
};

/// Every property of every kind that this device and build support, kind by kind.
std::vector<TraceProperty> supportedTraceProperties();

}  // namespace corvane
