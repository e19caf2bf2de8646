#include "config/DiagConfig.h"
#include "config/TraceType.h"
#include "support/Test.h"

#include <iostream>

// The device is the test's: these stand in for the platform's utility library, and note what was asked.

namespace {

struct Device {
    std::string builds;  ///< c for carrier, i for internal, v for vendor
    bool isTraceAllowed;
    std::uint32_t radio;
    std::uint32_t personality;
    std::string support;  ///< kinds by number, then the predicates that hold
};

Device device;
std::string asked;

bool ask(char build) {
    asked += build;
    return device.builds.find(build) != std::string::npos;
}

}  // namespace

bool SorvexUtilIsInternalBuild() {
    return ask('i');
}
bool SorvexUtilIsCarrierBuild() {
    return ask('c');
}
bool SorvexUtilIsVendorBuild() {
    return ask('v');
}
bool SorvexUtilTraceAllowed() {
    asked += 't';
    return device.isTraceAllowed;
}
std::uint32_t SorvexRadiosGetRadio() {
    return device.radio;
}
std::uint32_t SorvexRadiosGetRadioVendor() {
    return 1;
}
std::uint32_t SorvexRadiosGetProduct() {
    return 1;
}
std::uint32_t SorvexCapabilitiesRadioCoreDumpGetPersonality() {
    return device.personality;
}

namespace {

namespace trace = ryn::trace;
namespace config = diag::config;

/// Whether tracing is allowed is asked once in a process, so each device has one of its own.
[[noreturn]] void tellSupport(const Device& row) {
    device = row;
    std::string text;
    for (unsigned kind = 0; kind < 18; ++kind) {
        text += trace::isSupported(static_cast<trace::Type>(kind)) ? std::to_string(kind) + " " : "";
    }
    text += trace::isAllowed() ? "allowed " : "";
    text += trace::isHelperSupported() ? "helper " : "";
    text += trace::isDumpLogIndicationSupported() ? "indication " : "";
    text += std::count(asked.begin(), asked.end(), 't') == 1 ? "" : "asked again ";
    asked.clear();
    text += config::getDefaultEnabled() ? "enabled " : "";
    text += config::getShouldAlwaysFilter() ? "filter " : "";
    std::cerr << text << asked;
    std::_Exit(0);
}

TEST(TraceTypeTest, SupportFollowsBuildAndRadio) {
    const Device kDevices[] = {
        {"i", true, 9, 1, "4 5 6 11 12 13 14 15 allowed helper indication ciciv"},
        {"i", false, 9, 0, "4 12 13 14 indication ciciv"},
        {"i", true, 8, 0, "4 6 11 12 13 14 allowed helper indication ciciv"},
        {"c", true, 7, 0, "4 6 11 12 13 14 allowed indication enabled ciciv"},
        {"ci", true, 6, 2, "4 5 6 12 13 14 allowed ciciv"},
        {"c", true, 5, 0, "4 6 13 14 allowed enabled ciciv"},
        {"v", true, 9, 0, "4 6 11 13 14 15 allowed helper ciciv"},
        {"", true, 10, 0, "4 6 13 allowed filter ciciv"},
        {"", false, 0, 0, "4 13 filter ciciv"},
    };
    for (const Device& row : kDevices) {
        EXPECT_EXIT(tellSupport(row), testing::ExitedWithCode(0), testing::Eq(row.support)) << row.builds << row.radio;
    }
}

TEST(TraceTypeTest, NamesGoBothWays) {
    const std::string names[] = {"MobileAnalyzer", "Artemis",       "CoreDump", "Mux",      "DIAG",  "EURCoreDump",
                                 "IPCTrace",       "USBTracerDump", "Boot",     "CSILog",   "Dummy", "BasebandIPC",
                                 "TEMS",           "RYN",           "SYSLOG",   "KernelPCI"};
    trace::Type type{};
    unsigned kind = 0;
    for (std::string name : names) {
        EXPECT_EQ(trace::typeAsString(static_cast<trace::Type>(kind)), name);
        name[1] = static_cast<char>(name[1] ^ ' ');  // the other case
        EXPECT_TRUE(trace::stringAsType(name.c_str(), type)) << name;
        EXPECT_EQ(static_cast<unsigned>(type), kind++);
    }
    for (const char* name : {"Unknown", "", "DIAG ", "KernelPC"}) {
        EXPECT_FALSE(trace::stringAsType(name, type)) << name;
        EXPECT_EQ(type, trace::Type::KernelPCI) << name;
    }
    EXPECT_EQ(trace::typeAsString(static_cast<trace::Type>(16)), "Unknown");
    EXPECT_STREQ(config::toString(static_cast<config::Mode>(5)), "Unknown");
    EXPECT_TRUE(trace::isSupported("diag"));
    EXPECT_FALSE(trace::isSupported("no such kind"));
}

}  // namespace
