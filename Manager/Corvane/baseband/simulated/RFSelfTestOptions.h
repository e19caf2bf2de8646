#pragma once

#include "Corvane/support/Refusal.h"
#include "platform/xpc/Object.h"

#include <array>
#include <cstdint>
#include <variant>

namespace corvane::simulated {

/// Channels 0 to 23 are 3G and 4G, 24 to 31 are 2G; each is measured at both antenna ports.
inline constexpr std::size_t kRFChannels = 32;
inline constexpr std::size_t kFirst2GChannel = 24;

/// One value a channel. Powers are in 0.1 dBm, ratios in 0.1 dB.
using ChannelValues = std::array<std::int64_t, kRFChannels>;

/// What a measurement may be, both ends included; low is not above high.
struct RFLimits {
    ChannelValues low{};
    ChannelValues high{};
};

/// What an RF self-test is to transmit, and what it must measure to pass.
struct RFSelfTestOptions {
    std::int64_t targetTxPower3G4G = 0;
    std::int64_t targetTxPower2G = 0;
    RFLimits powerRatio;
    RFLimits forwardPower;
};

/// Reads the options of a command, refusing what is missing or malformed.
std::variant<RFSelfTestOptions, Refusal> readRFSelfTestOptions(const xpc::Object& options);

}  // namespace corvane::simulated
