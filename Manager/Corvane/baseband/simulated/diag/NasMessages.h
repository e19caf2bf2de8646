#pragma once

#include "Corvane/baseband/simulated/diag/Subscriber.h"

#include <cstdint>
#include <string>
#include <string_view>

/// Messages of LTE's non-access stratum (3GPP TS 24.301), as they are before they are protected.
namespace corvane::simulated::nas {

std::string attachRequest(const Subscriber& subscriber);
/// @param challenge RAND and AUTN, 32 bytes.
std::string authenticationRequest(std::string_view challenge);
/// @param answer RES, 8 bytes.
std::string authenticationResponse(std::string_view answer);
std::string securityModeCommand();
std::string securityModeComplete();
/// @param address of IPv4, of the first bearer.
std::string attachAccept(const Subscriber& subscriber, const Cell& cell, std::uint32_t address);
std::string attachComplete();

/// 24.301 section 9.9.3.9
enum class Cause : std::uint8_t { IllegalEquipment = 6, NetworkNotAllowed = 11 };
std::string attachReject(Cause cause);

std::string detachRequest(const Subscriber& subscriber, bool isSwitchedOff);
std::string detachRequestOfNetwork(Cause cause);
std::string detachAccept();

std::string trackingAreaUpdateRequest(const Subscriber& subscriber, const Cell& last);
std::string trackingAreaUpdateAccept(const Subscriber& subscriber, const Cell& cell);
std::string trackingAreaUpdateComplete();

/// Begins with a security header by its nature. @param sequence of 0 to 31.
std::string serviceRequest(unsigned sequence, std::uint16_t shortCode);

}  // namespace corvane::simulated::nas
