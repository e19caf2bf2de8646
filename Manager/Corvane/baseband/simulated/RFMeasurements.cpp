#include "Corvane/baseband/simulated/RFMeasurements.h"

#include "Corvane/support/Values.h"
#include "config/Diagnostics.h"

#include <algorithm>

namespace corvane::simulated {
namespace {

constexpr const char* kPassed = "Passed";
constexpr const char* kFailed = "Failed";

/// A quantity of the front end as it was designed, and how far a channel of a unit may be off. In 0.1 dBm or 0.1 dB.
struct Design {
    std::uint64_t quantity;  ///< tells the deviations of one channel apart
    std::int64_t nominal;
    std::int64_t spread;
};
constexpr Design kForwardDeviation{1, 0, 6};
constexpr Design kSaturation3G4G{2, 265, 5};
constexpr Design kSaturation2G{3, 345, 5};
constexpr Design kReturnLoss{4, 150, 25};
constexpr Design kReceivePathLoss{5, 900, 10};
constexpr std::int64_t kPortBCableLoss = 3;

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
    bool RFVerdict::*passed;
};
constexpr JudgedQuantity kJudged[] = {
    {"power ratio", &RFSelfTestOptions::powerRatio, &PortMeasurements::powerRatio, &RFVerdict::powerRatioPassed},
    {"forward power", &RFSelfTestOptions::forwardPower, &PortMeasurements::forwardPower, &RFVerdict::forwardPowerPassed},
};

struct ReportedList {
    const char* key;
    PortMeasurements RFMeasurements::*port;
    ChannelValues PortMeasurements::*values;
};
constexpr ReportedList kReported[] = {
    {ryn::kKeyRFSelfTestPowerRatioMeasurementPortAList, &RFMeasurements::portA, &PortMeasurements::powerRatio},
    {ryn::kKeyRFSelfTestPowerRatioMeasurementPortBList, &RFMeasurements::portB, &PortMeasurements::powerRatio},
    {ryn::kKeyRFSelfTestForwardPowerMeasurementPortAList, &RFMeasurements::portA, &PortMeasurements::forwardPower},
    {ryn::kKeyRFSelfTestForwardPowerMeasurementPortBList, &RFMeasurements::portB, &PortMeasurements::forwardPower},
    {ryn::kKeyRFSelfTestReversePowerMeasurementPortAList, &RFMeasurements::portA, &PortMeasurements::reversePower},
    {ryn::kKeyRFSelfTestReversePowerMeasurementPortBList, &RFMeasurements::portB, &PortMeasurements::reversePower},
    {ryn::kKeyRFSelfTestRSSIMeasurementPortAList, &RFMeasurements::portA, &PortMeasurements::rssi},
    {ryn::kKeyRFSelfTestRSSIMeasurementPortBList, &RFMeasurements::portB, &PortMeasurements::rssi},
};

void judgePort(const JudgedQuantity& quantity, const RFLimits& limits, const PortMeasurements& measured, char portName,
               RFVerdict& verdict) {
    const ChannelValues& values = measured.*quantity.values;
    for (std::size_t channel = 0; channel < kRFChannels; ++channel) {
        const std::int64_t low = limits.low[channel];
        const std::int64_t high = limits.high[channel];
        if (values[channel] >= low && values[channel] <= high) {
            continue;
        }
        verdict.*quantity.passed = false;
        verdict.violations.push_back(std::string(quantity.name) + " " + std::to_string(values[channel]) + " on channel " +
                                     std::to_string(channel) + " at port " + portName + " is outside " + std::to_string(low) +
                                     " to " + std::to_string(high));
    }
}

xpc::Object toArray(const ChannelValues& values) {
    auto array = xpc::Object::adopt(xpc_array_create(nullptr, 0));
    for (const std::int64_t value : values) {
        xpc_array_append_value(array.get(), number(value).get());
    }
    return array;
}

}  // namespace

void measure(const RFSelfTestOptions& options, std::uint64_t calibrationSeed, Port port, std::size_t channel,
             RFMeasurements& measurements) {
    const auto of = [&](const Design& design) { return actual(design, calibrationSeed, port, channel); };
    const bool is2G = channel >= kFirst2GChannel;
    const std::int64_t target = is2G ? options.targetTxPower2G : options.targetTxPower3G4G;
    const std::int64_t transmitted = std::min(target, of(is2G ? kSaturation2G : kSaturation3G4G));

    PortMeasurements& measured = measurements.at(port);
    measured.forwardPower[channel] = transmitted + of(kForwardDeviation) - (port == Port::B ? kPortBCableLoss : 0);
    measured.powerRatio[channel] = of(kReturnLoss);
    measured.reversePower[channel] = measured.forwardPower[channel] - measured.powerRatio[channel];
    measured.rssi[channel] = measured.forwardPower[channel] - of(kReceivePathLoss);
}

RFVerdict judge(const RFSelfTestOptions& options, const RFMeasurements& measurements) {
    RFVerdict verdict;
    for (const JudgedQuantity& quantity : kJudged) {
        judgePort(quantity, options.*quantity.limits, measurements.portA, 'A', verdict);
        judgePort(quantity, options.*quantity.limits, measurements.portB, 'B', verdict);
    }
    return verdict;
}

std::string RFVerdict::errorSentence() const {
    if (violations.empty()) {
        return {};
    }
    const std::size_t others = violations.size() - 1;
    return "Out of limits: " + violations.front() + (others == 0 ? "." : ", and " + std::to_string(others) + " more.");
}

xpc::Object resultDictionary(const RFVerdict& verdict, const RFMeasurements& measurements) {
    const auto status = [](bool passed) { return text(passed ? kPassed : kFailed); };
    auto result = dictionary({{ryn::kKeyRFSelfTestOverallStatus, status(verdict.passed())},
                              {ryn::kKeyRFSelfTestPowerRatioStatus, status(verdict.powerRatioPassed)},
                              {ryn::kKeyRFSelfTestForwardPowerStatus, status(verdict.forwardPowerPassed)}});
    for (const ReportedList& list : kReported) {
        const auto array = toArray(measurements.*list.port.*list.values);
        xpc_dictionary_set_value(result.get(), list.key, array.get());
    }
    return result;
}

}  // namespace corvane::simulated
