#include "Corvane/requests/SelfTestOptions.h"

#include "Corvane/support/Values.h"
#include "platform/ryn/constants.h"

#include <string>

namespace corvane {
namespace {

/// In 0.1 dBm: what the front end can be asked for.
constexpr std::int64_t kLowestTxPower = -500;
constexpr std::int64_t kHighestTxPower = 330;

struct TargetOption {
    const char* key;
    std::int64_t RFSelfTestOptions::*target;
};
constexpr TargetOption kTargets[] = {
    {ryn::kKeyRFSelfTestTargetTxPower3G4G, &RFSelfTestOptions::targetTxPower3G4G},
    {ryn::kKeyRFSelfTestTargetTxPower2G, &RFSelfTestOptions::targetTxPower2G},
};

struct LimitOption {
    const char* key;
    RFLimits RFSelfTestOptions::*limits;
    ChannelValues RFLimits::*end;
};
constexpr LimitOption kLimits[] = {
    {ryn::kKeyRFSelfTestPowerRatioLimitLowList, &RFSelfTestOptions::powerRatio, &RFLimits::low},
    {ryn::kKeyRFSelfTestPowerRatioLimitHighList, &RFSelfTestOptions::powerRatio, &RFLimits::high},
    {ryn::kKeyRFSelfTestForwardPowerLimitLowList, &RFSelfTestOptions::forwardPower, &RFLimits::low},
    {ryn::kKeyRFSelfTestForwardPowerLimitHighList, &RFSelfTestOptions::forwardPower, &RFLimits::high},
};

struct LimitPair {
    const char* lowKey;
    const char* highKey;
    RFLimits RFSelfTestOptions::*limits;
};
constexpr LimitPair kPairs[] = {
    {kLimits[0].key, kLimits[1].key, &RFSelfTestOptions::powerRatio},
    {kLimits[2].key, kLimits[3].key, &RFSelfTestOptions::forwardPower},
};

Result<void> readTarget(const xpc::Object& options, const TargetOption& option, RFSelfTestOptions& read) {
    const auto value = numberAt(options, option.key);
    if (!value || *value < kLowestTxPower || *value > kHighestTxPower) {
        return Refusal::invalidArgument(std::string(option.key) +
                                        (value ? " is " + std::to_string(*value) : " is missing or not an integer") +
                                        "; a power from " + std::to_string(kLowestTxPower) + " to " +
                                        std::to_string(kHighestTxPower) + " (in 0.1 dBm) is accepted.");
    }
    read.*option.target = *value;
    return {};
}

Result<void> readLimits(const xpc::Object& options, const LimitOption& option, RFSelfTestOptions& read) {
    xpc_object_t list = xpc_dictionary_get_value(options.get(), option.key);
    const auto refusal = [&option](const std::string& what) {
        return Refusal::invalidArgument(std::string(option.key) + " " + what + "; a list of " + std::to_string(kRFChannels) +
                                        " integers, one a channel, is accepted.");
    };
    if (list == nullptr || xpc_get_type(list) != XPC_TYPE_ARRAY) {
        return refusal("is missing or not a list");
    }
    if (xpc_array_get_count(list) != kRFChannels) {
        return refusal("has " + std::to_string(xpc_array_get_count(list)) + " entries");
    }
    for (std::size_t channel = 0; channel < kRFChannels; ++channel) {
        xpc_object_t value = xpc_array_get_value(list, channel);
        if (xpc_get_type(value) != XPC_TYPE_INT64) {
            return refusal("has an entry " + std::to_string(channel) + " that is not an integer");
        }
        (read.*option.limits.*option.end)[channel] = xpc_int64_get_value(value);
    }
    return {};
}

Result<void> checkPair(const LimitPair& pair, const RFSelfTestOptions& read) {
    const RFLimits& limits = read.*pair.limits;
    for (std::size_t channel = 0; channel < kRFChannels; ++channel) {
        if (limits.low[channel] > limits.high[channel]) {
            return Refusal::invalidArgument(std::string(pair.lowKey) + " is " + std::to_string(limits.low[channel]) +
                                            " for channel " + std::to_string(channel) + ", above the " +
                                            std::to_string(limits.high[channel]) + " of " + pair.highKey +
                                            "; a low limit up to the high one is accepted.");
        }
    }
    return {};
}

}  // namespace

Result<RFSelfTestOptions> readSelfTestOptions(const xpc::Object& options) {
    if (!options.isDictionary()) {
        return Refusal::invalidArgument(std::string(ryn::kKeyBasebandDiagnosticsOptions) +
                                        " is missing or not a dictionary; target powers and limit lists are accepted.");
    }
    RFSelfTestOptions read;
    for (const TargetOption& option : kTargets) {
        if (const auto target = readTarget(options, option, read); !target) {
            return target.refusal();
        }
    }
    for (const LimitOption& option : kLimits) {
        if (const auto limits = readLimits(options, option, read); !limits) {
            return limits.refusal();
        }
    }
    for (const LimitPair& pair : kPairs) {
        if (const auto ordered = checkPair(pair, read); !ordered) {
            return ordered.refusal();
        }
    }
    return read;
}

}  // namespace corvane
