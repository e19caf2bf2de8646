#include "config/TraceType.h"

#include "platform/dispatch/dispatch.h"
#include "platform/vsk/SorvexUtil.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <string_view>

namespace ryn::trace {
namespace {

constexpr std::array kNames = {
    "MobileAnalyzer", "Artemis", "CoreDump", "Mux",         "DIAG", "EURCoreDump", "IPCTrace", "USBTracerDump",
    "Boot",           "CSILog",  "Dummy",    "BasebandIPC", "TEMS", "RYN",         "SYSLOG",   "KernelPCI",
};

char lowerCased(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

/// Radios below `first` wrap round to large numbers, so one comparison tests both ends.
bool isRadioWithin(std::uint32_t first, std::uint32_t last) {
    return SorvexRadiosGetRadio() - first <= last - first;
}

}  // namespace

std::string typeAsString(Type type) {
    const auto value = static_cast<std::size_t>(type);
    return value < kNames.size() ? kNames[value] : "Unknown";
}

bool stringAsType(const std::string& name, Type& type) {
    const auto found = std::ranges::find_if(
        kNames, [&](std::string_view known) { return std::ranges::equal(known, name, {}, lowerCased, lowerCased); });
    if (found == kNames.end()) {
        return false;
    }
    type = static_cast<Type>(found - kNames.begin());
    return true;
}

bool isAllowed() {
    static dispatch_once_t once = 0;
    static bool allowed = false;
    dispatch_once(&once, [] { allowed = SorvexUtilTraceAllowed(); });
    return allowed;
}

bool isSupported(Type type) {
    switch (type) {
        case Type::DIAG:
        case Type::RYN:
            return true;
        case Type::EURCoreDump:
            return SorvexCapabilitiesRadioCoreDumpGetPersonality() != 0;
        case Type::IPCTrace:
            return isAllowed();
        case Type::BasebandIPC:
            return isRadioWithin(7, 9) && isAllowed();
        case Type::TEMS:
            return isRadioWithin(6, 9) && (SorvexUtilIsInternalBuild() || SorvexUtilIsCarrierBuild());
        case Type::SYSLOG:
            return SorvexUtilIsInternalBuild() || SorvexUtilIsCarrierBuild() || SorvexUtilIsVendorBuild();
        case Type::KernelPCI:
            return isRadioWithin(9, 9) && isAllowed();
        default:
            return false;
    }
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes the name by value
bool isSupported(std::string name) {
    Type type{};
    return stringAsType(name, type) && isSupported(type);
}

bool isHelperSupported() {
    return isRadioWithin(8, 9) && isAllowed();
}

bool isDumpLogIndicationSupported() {
    return (SorvexUtilIsInternalBuild() || SorvexUtilIsCarrierBuild()) && isRadioWithin(7, 9);
}

}  // namespace ryn::trace
