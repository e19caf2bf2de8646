#pragma once

#include "platform/ryn/client.h"
#include "shell/CommandBase.h"
#include "shell/Output.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// The result of arguments that the tool refuses itself. Never sent, never printed.
inline constexpr int kResultInvalidArgument = static_cast<std::int32_t>(0xE020E002);

/// The exchange through which command groups read and write one named property of one named trace.
///
/// Values travel as typed: the manager validates them. Without a manager, or with an empty trace or property name, nothing is
/// sent and the result is kResultInvalidArgument.
/// @param timeout in seconds; 0 leaves it to the client library.

/// @param value replaced on success; untouched on failure and when the manager's answer has no dictionary.
int getTraceProperty(const ryn::client::ManagerPtr& manager, const std::string& trace, const std::string& property,
                     std::string& value, std::int64_t timeout);
int setTraceProperty(const ryn::client::ManagerPtr& manager, const std::string& trace, const std::string& property,
                     const std::string& value, std::int64_t timeout);

/// A leaf that shows one property of a trace, or with one word sets it.
///
///     history        History: 256 MB
///     history 512    History: 512 MB, or refused: Failed to set 'History' to '512' MB
///     history 1 2    Invalid value(s) passed for 'History'
struct TraceProperty {
    enum class Access { ReadWrite, ReadOnly };

    Literal word;
    const char* name;       ///< in the manager
    const char* label;      ///< in what is printed
    const char* unit;       ///< stands behind a value, and behind the closing quote of a refused one
    const char* getSuffix;  ///< ends the message of a failed get
    Literal helpText;
    output::Stream failures = output::Stream::Error;  ///< successes always go to standard output
    Access access = Access::ReadWrite;
};

/// @return true when the manager gave or took the value.
bool runTraceProperty(const ryn::client::ManagerPtr& manager, const char* trace, const TraceProperty& property,
                      const Words& words);

/// What a "status" leaf shows: a property a line.
struct TraceStatus {
    struct Line {
        const char* property;
        const char* label;
        const char* unit;
        std::size_t place;  ///< among the lines printed: the order of asking may be another
    };

    Literal helpText;
    const char* subject;  ///< of the message of a failure
    output::Stream failures;
    std::size_t decisive;         ///< how many of the lines, from the first, have to be read; others show as empty
    std::span<const Line> lines;  ///< in the order of asking
};

/// @return true when every decisive property was read. A manager that let one request down, by silence or by going, is asked no
/// more
///     than what decides.
bool showTraceStatus(const ryn::client::ManagerPtr& manager, const char* trace, const TraceStatus& status);
