#pragma once

#include <cstdint>

/// Packets over a stream of bytes, as corvane-bridge(1) carries them: each behind its length, 32 bits with the highest byte
/// first.
namespace ryn::client {

/// From a socket of packets into the stream; returns when either has ended.
void carryToStream(int packets, int stream);

/// From the stream to a socket of packets; returns when either has ended, or a packet can't be that long.
/// @return the length of that packet; else a length that is right
std::uint32_t carryToPackets(int stream, int packets);

bool isPacketLength(std::uint32_t length);

}  // namespace ryn::client
