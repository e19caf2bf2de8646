#pragma once

/// Memory that is set aside for the moment when there is no other. Allocations then come out of the reserve, which gives the
/// daemon the time to end the client that takes too much.
namespace corvane::memory {

/// Fills the reserve up, as far as there is memory.
void reserve();
/// Whether less than half of the reserve is there.
bool isShort();

}  // namespace corvane::memory
