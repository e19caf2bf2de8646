#include "config/RYNProperties.h"
#include "support/Test.h"

namespace {

namespace fs = std::filesystem;

// Kept in the store of nobody, and read by nobody here.
static_assert(RYNProperties::kRFSFlushInterval.builtIn == 7200 && RYNProperties::kRFSFlushTimeout.builtIn == 0);
static_assert(RYNProperties::kCoreDumpOnSoftResetTimeout.builtIn == 0 && RYNProperties::kStackshotOnShutdownTimeout.builtIn == 0);
static_assert(RYNProperties::kBootBaseband.builtIn);

TEST(Settings, StoredPropertiesFallBackToTheirDefaults) {
    const TempFolder temp;
    ::setenv("XDG_CONFIG_HOME", temp.path().c_str(), 1);
    ::setenv("SORVEX_DEVICE_FILE", "/nonexistent", 1);
    std::string stored;
    std::uint32_t history = 0;
    bool isEnabled = false;
    bool isBlocked = false;
    EXPECT_TRUE(RYNProperties::traceRYNEnabled());
    EXPECT_TRUE(fs::is_empty(temp.path())) << "reading a default makes nothing";
    fs::create_directory(temp / "corvane");
    std::ifstream cases(FIXTURES "/settings.txt");
    ASSERT_TRUE(std::getline(cases, stored));
    while (cases >> std::boolalpha >> history >> isEnabled >> isBlocked && std::getline(cases, stored)) {
        support::writeFile(temp / "corvane/com.quorvel.Corvane.json", R"({"CurrentUser": {"CurrentHost": {)" + stored + "}}}");
        EXPECT_EQ(RYNProperties::traceRYNHistory(), history) << stored;
        EXPECT_EQ(RYNProperties::traceRYNEnabled(), isEnabled) << stored;
        EXPECT_EQ(RYNProperties::storedBlockBasebandResets(), isBlocked) << stored;
    }
    EXPECT_TRUE(cases.eof());
}

}  // namespace
