#pragma once

#include "platform/xpc/Object.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// The manager protocol, whole. Both sides encode and decode with what stands here.
///
/// Unix-domain SOCK_SEQPACKET; one packet holds exactly one CBOR item (RFC 8949), an array:
///
///     hello    client   [0, version, client name]                  first packet, no answer
///                       [0, lowest version, client name, highest]    answered by a reply to the connection
///     request  client   [1, id, command, argument]
///     reply    manager  [2, id, result] or [2, id, result, object]   id 0: to the connection, which a refusal ends
///     events   client   [3, true or false]                         no answer; off at first
///     event    manager  [4, event name] or [4, event name, payload]
///
/// Values: dictionary = map with text keys, array, int64 = integer, bool, null; string = text when it is valid UTF-8, else
/// a byte string; a reader takes both. Ids are unsigned, up to 2^63-1. A result is a signed 32-bit integer. Anything else
/// (floats, tags, indefinite lengths, duplicate keys, integers beyond int64, keys with NUL, bytes behind the item) is malformed.
/// Items behind the last one of a reply, an event or a hello with a highest version are a later version's: values, passed over.
namespace ryn::wire {

inline constexpr std::size_t kMaxPacketSize = 131072;
/// Of the values within a packet: the argument or object itself is at depth 1.
inline constexpr unsigned kMaxNesting = 16;
/// Of the values within an argument or object, itself included: an empty map is one byte in a packet and a hundred in memory.
inline constexpr unsigned kMaxValues = 1024;
inline constexpr std::uint64_t kProtocolVersion = 1;
/// The id of a reply to the connection itself: the answer to hello, or why the manager doesn't serve it. No request should have
/// it.
inline constexpr std::uint64_t kConnectionId = 0;

/// Decoded strings point into the packet; objects are owned.
struct Hello {
    std::uint64_t version;
    std::string_view clientName;
    std::optional<std::uint64_t> highestVersion = {};  ///< present: `version` is the lowest, and the manager answers
};
struct Request {
    std::uint64_t id;
    std::string_view command;
    xpc::Object argument;
};
struct Reply {
    std::uint64_t id;
    std::int32_t result;
    xpc::Object object;  ///< empty: the reply carries none
};
struct Events {
    bool on;
};
struct Event {
    std::string_view name;
    xpc::Object payload;  ///< empty: the event carries none
};
using Packet = std::variant<Hello, Request, Reply, Events, Event>;

/// @return nullopt when the packet is malformed.
std::optional<Packet> decode(std::span<const std::uint8_t> packet);

/// Replaces `buffer`'s content with the packet. @return false when the packet would be over kMaxPacketSize, nested too deeply, of
/// too many values, or has a key that is not UTF-8.
bool encode(const Packet& packet, std::vector<std::uint8_t>& buffer);

}  // namespace ryn::wire
