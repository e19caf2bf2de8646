#pragma once

#include "platform/ryn/client.h"

#include <cstdint>

/// The results that the client library makes itself, beside those that its interface names; the manager's own are 0xE020E1xx.
namespace ryn::client {

/// No connection could be made, or the request could not be handed to the manager.
inline constexpr auto kResultNotConnected = static_cast<std::int32_t>(0xE020E010);
/// The manager sent what the protocol does not allow; the connection has been ended.
inline constexpr auto kResultMalformedReply = static_cast<std::int32_t>(0xE020E013);
/// The request does not fit one packet, is nested too deeply or has a key that can't travel; nothing was sent.
inline constexpr auto kResultTooLarge = static_cast<std::int32_t>(0xE020E014);

}  // namespace ryn::client
