#pragma once

#include "platform/ryn/client.h"
#include "platform/xpc/Object.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace ryn::client {

// The results that the library makes itself, beside those that its interface names; the manager's own are 0xE020E1xx.

/// No connection could be made, or the request could not be handed to the manager.
inline constexpr auto kResultNotConnected = static_cast<std::int32_t>(0xE020E010);
/// The manager sent what the protocol does not allow; the connection has been ended.
inline constexpr auto kResultMalformedReply = static_cast<std::int32_t>(0xE020E013);
/// The request does not fit one packet, is nested too deeply or has a key that can't travel; nothing was sent.
inline constexpr auto kResultTooLarge = static_cast<std::int32_t>(0xE020E014);

/// With tenths when there are any: "2.5 s".
std::string inSeconds(std::chrono::nanoseconds duration);

/// What a command came to.
struct Answer {
    std::int32_t result = 0;
    xpc::Object object;  ///< empty: none
};

// Answers that the library makes itself: {"KeyErrorCode": result, "KeyErrorString": one sentence for the user, which says what
// happened, where, and what to do}.

/// @param error the errno value of the last attempt to connect to `place`; EAGAIN: it was not served until time ran out
Answer notConnected(const std::string& place, int error);
/// @param hasReceived whether the manager had sent anything on the connection
Answer connectionLost(const std::string& place, bool hasReceived);
/// The manager's own words for not serving this connection.
Answer turnedAway(const std::string& place, std::int32_t result, const xpc::Object& object);
/// By the user of the client.
Answer closedHere(const std::string& place);
Answer timedOut(const std::string& place, std::chrono::nanoseconds timeout);
Answer malformedReply(const std::string& place);
/// Of a manager that sends events faster than they are handled, for too long.
Answer flooded(const std::string& place);
Answer tooLarge(std::string_view command);

}  // namespace ryn::client
