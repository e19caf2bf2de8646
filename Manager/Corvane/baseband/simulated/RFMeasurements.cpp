#include "Corvane/baseband/simulated/RFMeasurements.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace corvane::simulated {
namespace {

/// A quantity of the front end as it was designed, and how far a channel of a unit may be off. In 0.1 dBm or 0.1 dB.
struct Design {
    std::uint64_t quantity;  ///< tells the deviations of one channel apart
    std::int64_t nominal;
    std::int64_t spread;
};
constexpr Design kForwardDeviation{1, 0, 6};
constexpr Design kSaturation3G4G{2, 265, 5};  // of 2G it is above what may be asked for
constexpr Design kReturnLoss{4, 150, 25};
constexpr Design kReceivePathLoss{5, 900, 10};
constexpr std::int64_t kPortBCableLoss = 3;
constexpr std::int64_t kBrokenPathLoss = 400;

/// SplitMix64's finalizer: every bit of the result depends on every bit of the input.
std::uint64_t scramble(std::uint64_t bits) {
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9ULL;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBULL;
    return bits ^ (bits >> 31);
}

/// Nominal plus this unit's deviation on this channel.
std::int64_t actual(const Design& design, std::uint64_t seed, Port port, std::size_t channel) {
    const std::uint64_t place = design.quantity << 16 | static_cast<std::uint64_t>(port) << 8 | channel;
    const std::uint64_t random = scramble(scramble(seed) + place);
    return design.nominal + static_cast<std::int64_t>(random % static_cast<std::uint64_t>(2 * design.spread + 1)) - design.spread;
}

struct JudgedQuantity {
    const char* name;
    RFLimits RFSelfTestOptions::*limits;
    ChannelValues PortMeasurements::*values;
    bool RFSelfTestResult::*passed;
};
constexpr JudgedQuantity kJudged[] = {
    {"power ratio", &RFSelfTestOptions::powerRatio, &PortMeasurements::powerRatio, &RFSelfTestResult::powerRatioPassed},
    {"forward power", &RFSelfTestOptions::forwardPower, &PortMeasurements::forwardPower, &RFSelfTestResult::forwardPowerPassed},
};

/// One phrase for each value that is outside its limits.
void judgePort(const JudgedQuantity& quantity, const RFLimits& limits, const PortMeasurements& measured, char portName,
               std::vector<std::string>& violations) {
    const ChannelValues& values = measured.*quantity.values;
    for (std::size_t channel = 0; channel < kRFChannels; ++channel) {
        const std::int64_t low = limits.low[channel];
        const std::int64_t high = limits.high[channel];
        if (values[channel] < low || values[channel] > high) {
            violations.push_back(fmt::format("{} {} on channel {} at port {} is outside {} to {}", quantity.name, values[channel],
                                             channel, portName, low, high));
        }
    }
}

}  // namespace

void measure(const RFSelfTestOptions& options, std::uint64_t calibrationSeed, Port port, std::size_t channel,
             RFSelfTestResult& result) {
    const auto of = [&](const Design& design) { return actual(design, calibrationSeed, port, channel); };
    const bool is2G = channel >= kFirst2GChannel;
    const std::int64_t transmitted = is2G ? options.targetTxPower2G : std::min(options.targetTxPower3G4G, of(kSaturation3G4G));

    PortMeasurements& measured = port == Port::A ? result.portA : result.portB;
    measured.forwardPower[channel] = transmitted + of(kForwardDeviation) - (port == Port::B ? kPortBCableLoss : 0);
    measured.powerRatio[channel] = of(kReturnLoss);
    measured.reversePower[channel] = measured.forwardPower[channel] - measured.powerRatio[channel];
    measured.rssi[channel] = measured.forwardPower[channel] - of(kReceivePathLoss);
}

void breakPath(Port port, std::size_t channel, RFSelfTestResult& result) {
    PortMeasurements& measured = port == Port::A ? result.portA : result.portB;
    for (ChannelValues* values : {&measured.forwardPower, &measured.reversePower, &measured.rssi}) {
        (*values)[channel] -= kBrokenPathLoss;
    }
}

std::string judge(const RFSelfTestOptions& options, RFSelfTestResult& result) {
    std::vector<std::string> violations;
    for (const JudgedQuantity& quantity : kJudged) {
        const std::size_t before = violations.size();
        judgePort(quantity, options.*quantity.limits, result.portA, 'A', violations);
        judgePort(quantity, options.*quantity.limits, result.portB, 'B', violations);
        result.*quantity.passed = violations.size() == before;
    }
    if (violations.empty()) {
        return {};
    }
    const std::size_t others = violations.size() - 1;
    return fmt::format("Out of limits: {}{}.", violations.front(), others == 0 ? "" : fmt::format(", and {} more", others));
}

}  // namespace corvane::simulated
