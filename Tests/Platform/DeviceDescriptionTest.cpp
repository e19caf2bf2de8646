#include "config/Capabilities.h"
#include "config/RYNProperties.h"

#include "platform/vsk/SorvexUtil.h"
#include "support/Test.h"

namespace {

/// "build radio/vendor/product/personality", '+' when tracing is allowed, and the defaults that follow from it.
std::string summary() {
    std::string out = SorvexUtilIsInternalBuild()  ? "internal"
                      : SorvexUtilIsCarrierBuild() ? "carrier"
                      : SorvexUtilIsVendorBuild()  ? "vendor"
                                                   : "customer";
    out += ' ' + std::to_string(SorvexRadiosGetRadio()) + '/' + std::to_string(SorvexRadiosGetRadioVendor()) + '/' +
           std::to_string(SorvexRadiosGetProduct()) + '/' + std::to_string(SorvexCapabilitiesRadioCoreDumpGetPersonality());
    const auto capabilities = Capabilities::create();
    return out + (SorvexUtilTraceAllowed() ? "+" : "") + (RYNProperties::traceRYNEnabled() ? " log" : "") +
           (RYNProperties::hostServer() ? " server" : "") + (capabilities->isRadio7To9() ? " 7-9" : "") +
           (capabilities->isRadio9() ? " 9" : "");
}

const char kDefaults[] = "=internal 9/1/1/1+ log server 7-9 9";

TEST(DeviceDescriptionDeathTest, DescribesOrGivesTheDefaultsAndSaysWhy) {
    const support::TempFolder folder;
    const std::string file = folder / "device.json";
    ::setenv("SORVEX_DEVICE_FILE", file.c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    std::filesystem::create_directory(folder / "corvane");
    support::writeFile(folder / "corvane/com.quorvel.Corvane.json", R"({"CurrentUser": {"CurrentHost": {"HostServer": false}}})");
    // The file is read once in a process's life, so each row has its own; asked twice, it says what is wrong once.
    const auto print = [] {
        std::fprintf(stderr, "=%s", (summary(), summary()).c_str());
        std::_Exit(0);
    };
    const auto refused = [&file](const std::string& reason) {
        return testing::Eq(file + ": " + reason + "; the device counts as an internal build with radio 9\n" + kDefaults);
    };
    EXPECT_EXIT(print(), testing::ExitedWithCode(0), testing::Eq(kDefaults)) << "a file that isn't there";
    std::ifstream cases(FIXTURES "/devices.txt");
    std::string shown;
    for (std::string json; std::getline(cases, json) && std::getline(cases, shown);) {
        support::writeFile(file, json);
        EXPECT_EXIT(print(), testing::ExitedWithCode(0), shown.starts_with('=') ? testing::Eq(shown) : refused(shown)) << json;
    }
    support::writeFile(file, std::string(100'000, '['));
    EXPECT_EXIT(print(), testing::ExitedWithCode(0), refused("not JSON"));
    std::filesystem::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);  // not waited for either
    EXPECT_EXIT(print(), testing::ExitedWithCode(0), refused("not a regular file"));
}

}  // namespace
