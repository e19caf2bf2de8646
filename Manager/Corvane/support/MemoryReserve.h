#pragma once

/// Memory that is set aside for the moment when there is no other. Whoever asks for memory then gets it out of the reserve, and
/// the daemon gets the time to end what takes too much.
namespace corvane::memory {

/// Sets the reserve aside, again when it was taken. Fails silently: isShort() tells.
void reserve();
/// Whether the reserve was taken.
bool isShort();

}  // namespace corvane::memory
