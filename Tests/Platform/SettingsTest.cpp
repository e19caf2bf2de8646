#include "config/RYNProperties.h"
#include "support/Test.h"

namespace {

namespace fs = std::filesystem;

constexpr bool isKept(const auto& property, std::string_view key, std::uint32_t builtIn) {
    return property.key == key && property.builtIn == builtIn;
}

// Kept in the store of nobody, and read by nobody here.
static_assert(isKept(RYNProperties::kRFSFlushInterval, "RFSFlushInterval", 7200));
static_assert(isKept(RYNProperties::kRFSFlushTimeout, "RFSFlushTimeout", 0));
static_assert(isKept(RYNProperties::kBootBaseband, "BootBaseband", true));
static_assert(isKept(RYNProperties::kCoreDumpOnSoftResetTimeout, "CoreDumpOnSoftResetTimeout", 0));
static_assert(isKept(RYNProperties::kStackshotOnShutdownTimeout, "StackshotOnShutdownTimeout", 0));

TEST(Settings, StoredPropertiesFallBackToTheirDefaults) {
    const TempFolder temp;
    ::setenv("XDG_CONFIG_HOME", temp.path().c_str(), 1);
    ::setenv("SORVEX_DEVICE_FILE", "/nonexistent", 1);
    const struct {
        std::string stored;
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
        {R"("Trace::RYN::History": 12, "deep": )" + std::string(61, '[') + std::string(61, ']'), 12, true, false},
        {R"("Trace::RYN::History": 12, "deeper": )" + std::string(62, '[') + std::string(62, ']'), 5, true, false},
    };
    EXPECT_TRUE(RYNProperties::traceRYNEnabled());
    EXPECT_TRUE(fs::is_empty(temp.path())) << "reading a default makes nothing";
    fs::create_directory(temp / "corvane");
    for (const auto& row : cases) {
        support::writeFile(temp / "corvane/com.quorvel.Corvane.json",
                           R"({"CurrentUser": {"CurrentHost": {)" + row.stored + "}}}");
        EXPECT_EQ(RYNProperties::traceRYNEnabled(), row.enabled) << row.stored;
        EXPECT_EQ(RYNProperties::traceRYNHistory(), row.history) << row.stored;
        EXPECT_EQ(RYNProperties::storedBlockBasebandResets(), row.blocked) << row.stored;
    }
}

}  // namespace
