#pragma once

#include "platform/ryn/client.h"

#include <cstdint>
#include <string>

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
