#pragma once

#include "Corvane/baseband/simulated/diag/Subscriber.h"

#include <cstdint>
#include <string>
#include <string_view>

/// Messages of LTE's radio resource control (3GPP TS 36.331), in UPER.
namespace corvane::simulated::rrc {

enum class Cause : std::uint8_t { MobileTerminated = 2, Signalling = 3, Data = 4 };

// BCCH and PCCH
/// @param frame of 0 to 1023.
std::string masterInformationBlock(std::uint32_t frame);
std::string systemInformationBlock1(const Cell& cell);
/// @param temporaryId of the one that is called.
std::string paging(std::uint8_t mmeCode, std::uint32_t temporaryId);

// CCCH
/// By a number of 40 bits: a random one, or the code and temporary identity that the network knows.
std::string connectionRequest(bool knownToNetwork, std::uint64_t identity, Cause cause);
/// @param transaction of 0 to 3, here and below.
std::string connectionSetup(unsigned transaction);

// DCCH
std::string connectionSetupComplete(unsigned transaction, std::string_view nas);
std::string uplinkInformation(std::string_view nas);
std::string downlinkInformation(unsigned transaction, std::string_view nas);
std::string securityModeCommand(unsigned transaction);
std::string securityModeComplete(unsigned transaction);
/// @param nas none when empty.
std::string connectionReconfiguration(unsigned transaction, std::string_view nas);
std::string connectionReconfigurationComplete(unsigned transaction);
std::string connectionRelease(unsigned transaction);
/// @param rsrpDbm from -140 to -44. @param rsrqDb from -19 to -3.
std::string measurementReport(int rsrpDbm, int rsrqDb);

}  // namespace corvane::simulated::rrc
