#pragma once

/// Memory that is set aside for the moment when there is no other. Whoever asks for memory then gets it out of the reserve, and
/// the daemon gets the time to end what takes too much.
namespace corvane::memory {

/// Sets aside what is missing of the reserve, as far as there is memory for it.
void reserve();
/// Whether less than half of the reserve is there.
bool isShort();

}  // namespace corvane::memory
