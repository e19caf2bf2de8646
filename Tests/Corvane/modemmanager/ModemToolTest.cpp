#include "Corvane/modemmanager/ModemManagerRig.h"
#include "support/Daemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

namespace support {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Matcher;
using testing::StartsWith;

std::string collected(const Daemon& daemon, const std::string& file) {
    std::string content;
    for (const auto& folder : std::filesystem::directory_iterator(daemon.statePath() + "/Snapshots")) {
        content += readFile(folder.path() / file);
    }
    return content;
}

/// The manager's log may tell of an earlier registration: each disabling ends one.
bool waitForRegistration(const Daemon& daemon) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (daemon.tool({"stats", "get-statistics", "0"}).out.find(R"("State":"registered")") == std::string::npos) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
    }
    return true;
}

/// The real tool, manager, ModemManager and message bus; only the modem is ours.
TEST(ModemToolTest, ASessionThroughTheRealModemManager) {
    ASSERT_EQ(ModemManagerRig::whatIsMissing(), "");
    becomePellcore();
    AtModem modem;
    ModemManagerRig rig;
    rig.plugAgainAfterReset(modem);
    Daemon daemon({"--backend", "modemmanager"});
    EXPECT_TRUE(daemon.process().waitForError("ModemManager has no modem."));
    EXPECT_EQ(daemon.tool({"baseband", "state"}).out, "Boot state: Off\nOperating mode: Unknown\n");
    EXPECT_EQ(daemon.tool({"baseband", "state", "0"}).out, "Failed\n");
    rig.plug(modem);
    ASSERT_TRUE(daemon.process().waitForError("Boot state: Ready"));

    Process watch({kTool, "baseband", "state", "watch"}, daemon.environment());
    constexpr std::chrono::milliseconds kGlance{20};
    do {  // until the watch is there to see it
        ASSERT_EQ(daemon.tool({"baseband", "state", "1", "--", "baseband", "state", "0"}).out, "Success\nSuccess\n");
    } while (!watch.waitForOutput("Operating mode: 0\n", kGlance));
    ASSERT_TRUE(waitForRegistration(daemon));

    const struct {
        Arguments words;
        int status;
        Matcher<std::string> out;
        Matcher<std::string> err;
    } steps[] = {
        {{"info"}, 0, AllOf(StartsWith("Tool version: "), HasSubstr("\nBaseband version: Acme-1.2.3\n")), IsEmpty()},
        {{"baseband", "time"}, 0, "Baseband time: 2026-11-21T08:55:01+01\n", IsEmpty()},
        {{"stats", "get-statistics", "0"},
         0,
         AllOf(StartsWith("Success to get statstics.\n{\"Boot\":{"), HasSubstr(R"("Registration":"home")"),
               HasSubstr(R"("SignalQualityPercentage":)"), HasSubstr(R"("AccessTechnologies":["lte"])")),
         IsEmpty()},
        {{"trace", "dump", "why"}, 0, "Dump: Success\n", IsEmpty()},
        {{"baseband", "state", "3", "--", "baseband", "state"}, 0, "Success\nBoot state: Ready\nOperating mode: 3\n", IsEmpty()},
        {{"baseband", "state", "0", "--", "baseband", "state"}, 0, "Success\nBoot state: Ready\nOperating mode: 0\n", IsEmpty()},
        {{"baseband", "reset", "soft"}, 0, "Soft reset baseband: Success\n", IsEmpty()},
        {{"stats", "get-statistics", "0"}, 0, AllOf(HasSubstr(R"("Boots":2)"), HasSubstr(R"("SoftResets":1)")), IsEmpty()},
        {{"baseband", "reset", "hard"}, 1, "Hard reset baseband: Failed\n", HasSubstr("has no hard reset")},
        {{"rfs", "erase"}, 1, StartsWith("Triggering baseband soft-reset"), StartsWith("Erase remote filesystem: Failed\n{")},
        {{"baseband", "wake"}, 1, IsEmpty(), "Failed to get wake reason\n"},
    };
    for (const auto& [words, status, out, err] : steps) {
        SCOPED_TRACE(testing::PrintToString(words));
        const Outcome outcome = daemon.tool(words);
        EXPECT_EQ(outcome.status, status);
        EXPECT_THAT(outcome.out, out);
        EXPECT_THAT(outcome.err, err);
    }
    EXPECT_THAT(collected(daemon, "modem.json"), HasSubstr(R"("Revision": "Acme-1.2.3")"));
    EXPECT_TRUE(
        watch.waitForOutput("Operating mode: 1\nOperating mode: 3\nOperating mode: 1\nOperating mode: 0\nBoot state: Resetting\n"
                            "Boot state: Ready\nOperating mode: 1\n"));
}

}  // namespace
}  // namespace support
