#pragma once

#include "platform/ryn/client.h"
#include "shell/Output.h"
#include "shell/Words.h"

enum class Access { ReadWrite, ReadOnly };

/// A leaf that shows one property of a trace, or with one word sets it.
///
///     history        History: 256 MB
///     history 512    History: 512 MB, or refused: Failed to set 'History' to '512' MB
///     history 1 2    Invalid value(s) passed for 'History'
struct PropertyLeaf {
    const char* word;
    const char* property;   ///< its name in the manager
    const char* label;      ///< its name in what is printed
    const char* unit;       ///< stands behind a value, and behind the closing quote of a refused one
    const char* getSuffix;  ///< ends the message of a failed get
    const char* helpText;
    output::Stream failures = output::Stream::Error;  ///< successes always go to standard output
    Access access = Access::ReadWrite;
};

/// @param trace the name of the trace that has the property.
/// @return true when the manager gave or took the value.
bool runPropertyLeaf(const PropertyLeaf& leaf, const ryn::client::ManagerPtr& manager, const char* trace, const Words& words);
