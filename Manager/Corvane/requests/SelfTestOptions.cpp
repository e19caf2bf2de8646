#include "Corvane/requests/SelfTestOptions.h"

#include "Corvane/requests/Arguments.h"
#include "platform/ryn/constants.h"

#include <fmt/format.h>

#include <utility>

namespace corvane {
namespace {

/// In 0.1 dBm: what the front end can be asked for.
constexpr std::int64_t kLowestTxPower = -500;
constexpr std::int64_t kHighestTxPower = 330;

constexpr std::pair<const char*, std::int64_t RFSelfTestOptions::*> kTargets[] = {
    {ryn::kKeyRFSelfTestTargetTxPower3G4G, &RFSelfTestOptions::targetTxPower3G4G},
    {ryn::kKeyRFSelfTestTargetTxPower2G, &RFSelfTestOptions::targetTxPower2G},
};

struct LimitLists {
    const char* lowKey;
    const char* highKey;
    RFLimits RFSelfTestOptions::*limits;
};
constexpr LimitLists kLimitLists[] = {
    {ryn::kKeyRFSelfTestPowerRatioLimitLowList, ryn::kKeyRFSelfTestPowerRatioLimitHighList, &RFSelfTestOptions::powerRatio},
    {ryn::kKeyRFSelfTestForwardPowerLimitLowList, ryn::kKeyRFSelfTestForwardPowerLimitHighList, &RFSelfTestOptions::forwardPower},
};

Result<ChannelValues> readList(const xpc::Object& options, const char* key) {
    xpc_object_t list = xpc_dictionary_get_value(options.get(), key);
    const auto refusal = [key](const std::string& what) {
        return Refusal::invalidArgument(
            fmt::format("{} {}; a list of {} integers, one a channel, is accepted.", key, what, kRFChannels));
    };
    if (list == nullptr || xpc_get_type(list) != XPC_TYPE_ARRAY) {
        return refusal("is missing or not a list");
    }
    if (xpc_array_get_count(list) != kRFChannels) {
        return refusal(fmt::format("has {} entries", xpc_array_get_count(list)));
    }
    ChannelValues values{};
    for (std::size_t channel = 0; channel < kRFChannels; ++channel) {
        xpc_object_t value = xpc_array_get_value(list, channel);
        if (xpc_get_type(value) != XPC_TYPE_INT64) {
            return refusal(fmt::format("has an entry {} that is not an integer", channel));
        }
        values[channel] = xpc_int64_get_value(value);
    }
    return values;
}

Result<RFLimits> readLimits(const xpc::Object& options, const LimitLists& lists) {
    const auto low = readList(options, lists.lowKey);
    const auto high = readList(options, lists.highKey);
    if (!low || !high) {
        return low ? high.refusal() : low.refusal();
    }
    for (std::size_t channel = 0; channel < kRFChannels; ++channel) {
        if ((*low)[channel] > (*high)[channel]) {
            return Refusal::invalidArgument(
                fmt::format("{} is {} for channel {}, above the {} of {}; a low limit up to the high one is accepted.",
                            lists.lowKey, (*low)[channel], channel, (*high)[channel], lists.highKey));
        }
    }
    return RFLimits{*low, *high};
}

}  // namespace

Result<RFSelfTestOptions> readSelfTestOptions(const xpc::Object& options) {
    if (!options.isDictionary()) {
        return Refusal::invalidArgument(
            fmt::format("{} is missing or not a dictionary; target powers and limit lists are accepted.",
                        ryn::kKeyBasebandDiagnosticsOptions));
    }
    RFSelfTestOptions read;
    for (const auto& [key, target] : kTargets) {
        const Number power{key, kLowestTxPower, kHighestTxPower};
        if (const auto done = power.read(options).into(read.*target); !done) {
            return done.refusal();
        }
    }
    for (const LimitLists& lists : kLimitLists) {
        if (const auto done = readLimits(options, lists).into(read.*lists.limits); !done) {
            return done.refusal();
        }
    }
    return read;
}

}  // namespace corvane
