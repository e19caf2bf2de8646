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

const char kDefaults[] = "internal 9/1/1/1\\+ log server 7-9 9";

TEST(DeviceDescriptionDeathTest, DescribesOrGivesTheDefaultsAndSaysWhy) {
    const struct {
        std::string json;
        std::string printed;  ///< a regular expression
        std::string summary;
    } cases[] = {
        {R"({"build": "carrier", "traceAllowed": false, "radio": 7, "radioVendor": 2, "product": 3, "coreDumpPersonality": 0})",
         "", "carrier 7/2/3/0 7-9"},
        {R"({"build": "vendor"})", "", "vendor 9/1/1/1\\+ log server 7-9 9"},
        {R"({"build": "customer", "radio": 4294967295, "more": [1.5]})", "", "customer 4294967295/1/1/1\\+ log server"},
        {R"({"product": 2, "radio": 6})", "", "internal 6/1/2/1\\+ log"},
        {R"({"product": 0, "radio": 10})", "", "internal 10/1/0/1\\+ log server"},
        {"{}", "", kDefaults},
        {R"({"build": "Internal", "radio": 7})", R"(json: "build" must be "internal", "carrier", "vendor" or "customer")",
         kDefaults},
        {R"({"radio": 7, "traceAllowed": 0})", R"("traceAllowed" must be true or false)", kDefaults},
        {R"({"radio": 4294967296})", R"("radio" must be an integer from 0 to 4294967295)", kDefaults},
        {R"({"product": -1})", R"("product" must be an integer)", kDefaults},
        {R"({"radioVendor": 1.0})", R"("radioVendor" must be)", kDefaults},
        {R"({"coreDumpPersonality": "1"})", R"("coreDumpPersonality" must be)", kDefaults},
        {"[]", "not a JSON object", kDefaults},
        {R"({"radio": 7)", "not JSON", kDefaults},
        {"", "not JSON", kDefaults},
        {std::string(100'000, '['), "not JSON", kDefaults},
    };
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
    EXPECT_EXIT(print(), testing::ExitedWithCode(0), std::string("^=") + kDefaults + "$") << "a file that isn't there";
    for (const auto& row : cases) {
        support::writeFile(file, row.json);
        EXPECT_EXIT(print(), testing::ExitedWithCode(0), "^[^=]*" + row.printed + "[^=]*=" + row.summary + "$") << row.json;
    }
    std::filesystem::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);  // not waited for either
    EXPECT_EXIT(print(), testing::ExitedWithCode(0), std::string("not a regular file.*\n=") + kDefaults + "$");
}

}  // namespace
