#pragma once

#include "platform/xpc/Object.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace ryn::client {

/// A result that the library made itself, with one sentence for the user: what happened, where, and what to do.
struct Failure {
    std::int32_t result;
    std::string sentence;

    /// {"KeyErrorCode": result, "KeyErrorString": sentence}
    xpc::Object toReply() const;
};

/// @param error the errno value of the last attempt to connect to `path`; EAGAIN: it was not served until time ran out
Failure notConnected(const std::string& path, int error);
/// @param heard whether the manager had sent anything on the connection
Failure connectionLost(const std::string& path, bool heard);
Failure timedOut(const std::string& path, std::chrono::milliseconds timeout);
Failure malformedReply(const std::string& path);
/// Of a manager that sends events faster than they are handled, for too long.
Failure flooded(const std::string& path);
Failure tooLarge(std::string_view command);

}  // namespace ryn::client
