#include "config/Capabilities.h"
#include "config/RYNProperties.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

// Kept in the store of nobody, and read by nobody here.
static_assert(RYNProperties::kRFSFlushInterval.builtIn == 7200 && RYNProperties::kRFSFlushTimeout.builtIn == 0);
static_assert(RYNProperties::kBootBaseband.builtIn && RYNProperties::kCoreDumpOnSoftResetTimeout.builtIn == 0);
static_assert(RYNProperties::kStackshotOnShutdownTimeout.builtIn == 0);

struct Settings : testing::Test {
    Settings() {
        ::setenv("XDG_CONFIG_HOME", temp.path().c_str(), 1);
        ::setenv("SORVEX_DEVICE_FILE", (temp / "device.json").c_str(), 1);
    }

    /// Puts `values`, the members of a JSON object, into the manager's domain.
    void store(const std::string& values) const {
        fs::create_directory(temp / "corvane");
        support::writeFile(temp / "corvane/com.quorvel.Corvane.json", R"({"CurrentUser": {"CurrentHost": {)" + values + "}}}");
    }
    support::TempFolder temp;
};

using SettingsDeathTest = Settings;

TEST_F(Settings, StoredPropertiesFallBackToTheirDefaults) {
    const struct {
        const char* stored;
        std::uint32_t history;
        bool enabled;
        bool blocked;
    } cases[] = {
        {"", 5, true, false},
        {R"("Trace::RYN::Enabled": false, "Trace::RYN::History": 12, "BlockBasebandResets": true)", 12, false, true},
        {R"("Trace::RYN::Enabled": true, "Trace::RYN::History": 0, "BlockBasebandResets": false)", 0, true, false},
        {R"("Trace::RYN::Enabled": 0, "Trace::RYN::History": true, "BlockBasebandResets": 1)", 5, true, false},
        {R"("Trace::RYN::Enabled": "false", "Trace::RYN::History": "9", "BlockBasebandResets": "true")", 5, true, false},
        {R"("Trace::RYN::Enabled": [], "Trace::RYN::History": 4.5, "BlockBasebandResets": null)", 5, true, false},
        {R"("Trace::RYN::History": 4294967297)", 1, true, false},
        {R"("Trace::RYN::History": -1)", 4294967295, true, false},
    };
    EXPECT_TRUE(RYNProperties::traceRYNEnabled());
    EXPECT_TRUE(fs::is_empty(temp.path())) << "reading a default makes nothing";
    for (const auto& row : cases) {
        store(row.stored);
        EXPECT_EQ(RYNProperties::traceRYNEnabled(), row.enabled) << row.stored;
        EXPECT_EQ(RYNProperties::traceRYNHistory(), row.history) << row.stored;
        EXPECT_EQ(RYNProperties::storedBlockBasebandResets(), row.blocked) << row.stored;
    }
}

TEST_F(SettingsDeathTest, DefaultsFollowTheDeviceAndNotTheStore) {
    store(R"("HostServer": false)");
    const struct {
        const char* device;
        bool hostServer, traceEnabled, from7To9, is9;
    } cases[] = {
        {R"({})", true, true, true, true},
        {R"({"product": 2, "radio": 6})", false, true, false, false},
        {R"({"product": 3, "radio": 7, "traceAllowed": false})", false, false, true, false},
        {R"({"product": 4, "radio": 10})", true, true, false, false},
        {R"({"product": 0, "radio": 0})", true, true, false, false},
    };
    for (const auto& row : cases) {
        support::writeFile(temp / "device.json", row.device);
        // The device is described once in a process's life.
        EXPECT_EXIT(
            std::_Exit(RYNProperties::hostServer() == row.hostServer && RYNProperties::traceRYNEnabled() == row.traceEnabled &&
                               Capabilities::create()->isRadio7To9() == row.from7To9 &&
                               Capabilities::create()->isRadio9() == row.is9
                           ? 0
                           : 1),
            testing::ExitedWithCode(0), "")
            << row.device;
    }
}

}  // namespace
