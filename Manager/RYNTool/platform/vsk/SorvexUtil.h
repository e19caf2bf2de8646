#pragma once

#include "platform/xpc/xpc.h"

#include <cstdint>
#include <string>

/// The cellular-stack utility library: what device and build this is, and which processes run.
///
/// The device is described by a file that is read once, on first use; without one it is an internal build with tracing
/// allowed, radio 9, radio vendor 1, product 1 and core-dump personality 1.
bool SorvexUtilIsInternalBuild();
bool SorvexUtilIsCarrierBuild();
bool SorvexUtilIsVendorBuild();
bool SorvexUtilTraceAllowed();
std::uint32_t SorvexRadiosGetRadio();
std::uint32_t SorvexRadiosGetRadioVendor();
std::uint32_t SorvexRadiosGetProduct();
/// 0 means that the radio has no core-dump personality.
std::uint32_t SorvexCapabilitiesRadioCoreDumpGetPersonality();

namespace vsk {

/// Whether a process of exactly this name runs on this machine.
bool isProcessRunning(const std::string& name);

/// The integer's low 32 bits as a signed number; `fallback` when the object is absent or not an integer.
std::int32_t toInt32(xpc_object_t object, std::int32_t fallback);

}  // namespace vsk
