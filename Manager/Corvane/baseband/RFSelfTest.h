#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// What an RF self-test is asked for and what it finds. Powers are in 0.1 dBm, ratios in 0.1 dB.
namespace corvane {

/// Channels 0 to 23 are 3G and 4G, 24 to 31 are 2G; each is measured at both antenna ports.
inline constexpr std::size_t kRFChannels = 32;
inline constexpr std::size_t kFirst2GChannel = 24;

/// One value a channel.
using ChannelValues = std::array<std::int64_t, kRFChannels>;

/// What a measurement may be, both ends included; low is not above high.
struct RFLimits {
    ChannelValues low{};
    ChannelValues high{};
};

/// What to transmit, and what must be measured to pass.
struct RFSelfTestOptions {
    std::int64_t targetTxPower3G4G = 0;
    std::int64_t targetTxPower2G = 0;
    RFLimits powerRatio;
    RFLimits forwardPower;
};

/// What one port of the RF front end shows on each channel.
struct PortMeasurements {
    ChannelValues forwardPower{};  ///< toward the antenna
    ChannelValues reversePower{};  ///< what the antenna sends back
    ChannelValues powerRatio{};    ///< forward over reverse: the return loss
    ChannelValues rssi{};          ///< of the own signal at the receiver
};

struct RFSelfTestResult {
    PortMeasurements portA;
    PortMeasurements portB;
    bool powerRatioPassed = true;
    bool forwardPowerPassed = true;

    bool passed() const { return powerRatioPassed && forwardPowerPassed; }
};

/// How far a self-test is. Its last event is Complete or Aborted.
struct RFSelfTestEvent {
    enum class Status { Running, Complete, Aborted };

    Status status = Status::Running;
    std::int64_t percentage = 0;
    std::optional<RFSelfTestResult> result = {};  ///< of a complete test
    std::string error = {};                       ///< a sentence: which limits were violated, or what aborted the test
};

}  // namespace corvane
