#pragma once

#include "Corvane/baseband/simulated/RFSelfTestOptions.h"

#include <array>
#include <string>
#include <vector>

namespace corvane::simulated {

enum class Port { A, B };

/// What one port of the RF front end shows on each channel. Powers are in 0.1 dBm, the ratio in 0.1 dB.
struct PortMeasurements {
    ChannelValues forwardPower{};  ///< toward the antenna
    ChannelValues reversePower{};  ///< what the antenna sends back
    ChannelValues powerRatio{};    ///< forward over reverse: the return loss
    ChannelValues rssi{};          ///< of the own signal at the receiver
};

struct RFMeasurements {
    PortMeasurements portA;
    PortMeasurements portB;

    PortMeasurements& at(Port port) { return port == Port::A ? portA : portB; }
};

/// Measures one channel at one port into `measurements`, with the deviations that the unit's calibration has left: the same
/// front end measures the same again.
void measure(const RFSelfTestOptions& options, std::uint64_t calibrationSeed, Port port, std::size_t channel,
             RFMeasurements& measurements);

/// How measurements compare with the limits.
struct RFVerdict {
    bool powerRatioPassed = true;
    bool forwardPowerPassed = true;
    std::vector<std::string> violations;  ///< one phrase each, power ratio first

    bool passed() const { return powerRatioPassed && forwardPowerPassed; }
    /// Bit 0: a power ratio, bit 1: a forward power is outside its limits.
    std::int64_t errorCode() const { return (powerRatioPassed ? 0 : 1) | (forwardPowerPassed ? 0 : 2); }
    /// The first violation, and how many others there are; empty when passed.
    std::string errorSentence() const;
};
RFVerdict judge(const RFSelfTestOptions& options, const RFMeasurements& measurements);

/// The result part of the test's last event: the three statuses and the eight measurement lists.
xpc::Object resultDictionary(const RFVerdict& verdict, const RFMeasurements& measurements);

}  // namespace corvane::simulated
