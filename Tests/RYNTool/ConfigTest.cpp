#include "config/DiagConfig.h"
#include "config/TraceType.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string>

namespace {

namespace trace = ryn::trace;
namespace config = diag::config;

/// What this device and build support, as one line: kinds by number, then the letters of the predicates that hold.
std::string supported() {
    std::string text;
    for (unsigned kind = 0; kind < 18; ++kind) {
        text += trace::isSupported(static_cast<trace::Type>(kind)) ? std::to_string(kind) + " " : "";
    }
    text += trace::isAllowed() ? "allowed " : "";
    text += trace::isHelperSupported() ? "helper " : "";
    text += trace::isDumpLogIndicationSupported() ? "indication " : "";
    text += config::getDefaultEnabled() ? "enabled " : "";
    text += config::getShouldAlwaysFilter() ? "filter " : "";
    return text;
}

/// Prints `supported` on the device described by the file, which a process reads once.
[[noreturn]] void tellSupport(const std::string& deviceFile) {
    setenv("SORVEX_DEVICE_FILE", deviceFile.c_str(), 1);
    std::cerr << supported();
    std::_Exit(0);
}

struct Device {
    const char* description;
    const char* support;
};

const Device kDevices[] = {
    {R"({"build":"internal","traceAllowed":true,"radio":9,"coreDumpPersonality":1})",
     "4 5 6 11 12 13 14 15 allowed helper indication "},
    {R"({"build":"internal","traceAllowed":false,"radio":9,"coreDumpPersonality":0})", "4 12 13 14 indication "},
    {R"({"build":"internal","traceAllowed":true,"radio":8,"coreDumpPersonality":0})",
     "4 6 11 12 13 14 allowed helper indication "},
    {R"({"build":"carrier","traceAllowed":true,"radio":7,"coreDumpPersonality":0})",
     "4 6 11 12 13 14 allowed indication enabled "},
    {R"({"build":"carrier","traceAllowed":true,"radio":6,"coreDumpPersonality":2})", "4 5 6 12 13 14 allowed enabled "},
    {R"({"build":"carrier","traceAllowed":true,"radio":5,"coreDumpPersonality":0})", "4 6 13 14 allowed enabled "},
    {R"({"build":"vendor","traceAllowed":true,"radio":9,"coreDumpPersonality":0})", "4 6 11 13 14 15 allowed helper "},
    {R"({"build":"customer","traceAllowed":true,"radio":10,"coreDumpPersonality":0})", "4 6 13 allowed filter "},
    {R"({"build":"customer","traceAllowed":false,"radio":0,"coreDumpPersonality":0})", "4 13 filter "},
};

TEST(TraceTypeTest, SupportFollowsBuildAndRadio) {
    const support::TempFolder folder;
    for (const Device& device : kDevices) {
        SCOPED_TRACE(device.description);
        support::writeFile(folder / "device.json", device.description);
        EXPECT_EXIT(tellSupport(folder / "device.json"), testing::ExitedWithCode(0), testing::Eq(device.support));
    }
}

TEST(TraceTypeTest, NamesGoBothWays) {
    for (unsigned kind = 0; kind < 16; ++kind) {
        const auto type = static_cast<trace::Type>(kind);
        trace::Type found{};
        EXPECT_TRUE(trace::stringAsType(trace::typeAsString(type), found));
        EXPECT_EQ(found, type);
    }
    trace::Type type = trace::Type::Mux;
    EXPECT_TRUE(trace::stringAsType("kernelpci", type));
    EXPECT_EQ(type, trace::Type::KernelPCI);
    for (const char* name : {"Unknown", "", "DIAG ", "KernelPC"}) {
        EXPECT_FALSE(trace::stringAsType(name, type)) << name;
        EXPECT_EQ(type, trace::Type::KernelPCI) << name;
    }
    EXPECT_EQ(trace::typeAsString(trace::Type::RYN), "RYN");
    EXPECT_EQ(trace::typeAsString(static_cast<trace::Type>(16)), "Unknown");
    EXPECT_EQ(trace::typeAsString(static_cast<trace::Type>(~0U)), "Unknown");
    EXPECT_TRUE(trace::isSupported("diag"));
    EXPECT_FALSE(trace::isSupported("CoreDump"));
    EXPECT_FALSE(trace::isSupported("no such kind"));
}

TEST(DiagConfigTest, ValuesBeyondAnEnumerationAreUnknown) {
    EXPECT_STREQ(config::toString(config::Mode::PassiveExternalThroughSoftware), "Passive external through software");
    EXPECT_STREQ(config::toString(static_cast<config::Mode>(5)), "Unknown");
    EXPECT_STREQ(config::toString(config::DuringAPSleep::Lite), "Lite");
    EXPECT_STREQ(config::toString(static_cast<config::DuringAPSleep>(~0U)), "Unknown");
    EXPECT_STREQ(config::toString(static_cast<config::Recovery>(1)), "Reset Baseband");
    EXPECT_STREQ(config::toString(static_cast<config::Recovery>(3)), "Unknown");
}

}  // namespace
