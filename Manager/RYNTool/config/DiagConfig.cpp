#include "config/DiagConfig.h"

#include "platform/vsk/SorvexUtil.h"

#include <array>
#include <cstddef>

namespace diag::config {
namespace {

constexpr std::array kModes = {
    "Active on AP",  "Active external through dock", "Passive external through dock", "Passive external through software",
    "Passive on AP",
};
constexpr std::array kBehavioursDuringSleep = {"Off", "Full", "Lite"};
constexpr std::array kRecoveries = {"None", "Reset Baseband", "Reconfigure"};

template <typename Value, std::size_t count>
const char* textOf(Value value, const std::array<const char*, count>& texts) {
    const auto index = static_cast<std::size_t>(value);
    return index < count ? texts[index] : "Unknown";
}

}  // namespace

const char* toString(Mode mode) {
    return textOf(mode, kModes);
}

const char* toString(DuringAPSleep behaviour) {
    return textOf(behaviour, kBehavioursDuringSleep);
}

const char* toString(Recovery recovery) {
    return textOf(recovery, kRecoveries);
}

bool getDefaultEnabled() {
    const bool isCarrier = SorvexUtilIsCarrierBuild();
    const bool isInternal = SorvexUtilIsInternalBuild();
    return isCarrier && !isInternal;
}

bool getShouldAlwaysFilter() {
    const bool isCarrier = SorvexUtilIsCarrierBuild();
    const bool isInternal = SorvexUtilIsInternalBuild();
    const bool isVendor = SorvexUtilIsVendorBuild();
    return !isCarrier && !isInternal && !isVendor;
}

}  // namespace diag::config
