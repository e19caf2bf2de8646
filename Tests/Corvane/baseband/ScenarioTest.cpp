#include "support/Daemon.h"
#include "support/Process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>

namespace {

using support::Arguments;
using support::Outcome;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// The real tool against the real manager with its simulated baseband.
class ScenarioTest : public testing::Test {
protected:
    static void SetUpTestSuite() { support::becomePellcore(); }

    Outcome tool(const std::string& line) const {
        std::istringstream words(line);
        return daemon_.tool(Arguments(std::istream_iterator<std::string>(words), {}));
    }
    /// A file of the newest folder of trace logs, after a dump.
    std::string dumped(const std::string& file) const {
        EXPECT_EQ(tool("trace dump why").status, 0);
        std::filesystem::path newest;
        for (const auto& folder : std::filesystem::directory_iterator(daemon_.statePath() + "/Snapshots")) {
            newest = std::max(newest, folder.path());
        }
        return support::readFile(newest / file);
    }

    support::Daemon daemon_;
};

TEST_F(ScenarioTest, Sessions) {
    struct Step {
        const char* line;
        int status;
        const char* out;
        const char* err;
    };
    const Step steps[] = {
        // Waits for the boot that the start began.
        {"baseband state 3 10 -- baseband state", 0, "Success\nBoot state: Ready\nOperating mode: 3\n", ""},
        {"baseband state 4 -- baseband state", 0, "Success\nBoot state: Ready\nOperating mode: 1\n", ""},
        {"baseband state 4", 0, "Failed\n", ""},
        {"info", 0, "Tool version: Corvane-699\nDaemon version: 1.0.0\nBaseband version: Simulated-1.0.0\n", ""},
        {"baseband wake", 0, "Baseband did not wake the AP\n", ""},
        {"baseband reset soft", 0, "Soft reset baseband: Success\n", ""},
        {"baseband reset hard crash", 0, "Hard reset baseband: Success\n", ""},
        {"baseband state 5 -- baseband state", 0, "Success\nBoot state: Off\nOperating mode: 5\n", ""},
        {"baseband time", 1, "Baseband time: Unknown\n", ""},
        {"baseband reset soft -- baseband state", 0, "Soft reset baseband: Success\nBoot state: Ready\nOperating mode: 1\n", ""},
        {"power simulate 0x7", 1, "Simulated power notification 0x7", " rejected\n"},
        {"power dump npa", 1, "Sent command to DumpLog NPA\n", ""},
        {"rfs sync nowait", 1, "", "Sync remote filesystem: Failed\n"},
        {"baseband diagnostics abort", 0,
         "Sent command BasebandDiagnosticsActionAbort to test \n"
         "Callback for command BasebandDiagnosticsActionAbort to test  : Failed\n",
         "{\"KeyErrorCode\":-534716157,\"KeyErrorString\":\"No diagnostics test is running; abort is accepted while one "
         "is.\"}\n"},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.line);
        const Outcome outcome = tool(step.line);
        EXPECT_EQ(outcome.status, step.status);
        EXPECT_EQ(outcome.out, step.out);
        EXPECT_EQ(outcome.err, step.err);
    }
    EXPECT_THAT(tool("baseband time").out, testing::MatchesRegex("Baseband time: 20..-..-..T..:..:..\\....Z\n"));
    EXPECT_THAT(tool("stats get-statistics 0").out,
                AllOf(HasSubstr(R"("SoftResets":3)"), HasSubstr(R"("LastHardResetReason":"[ryntool] crash")"),
                      HasSubstr(R"("Boots":5)")));
}

TEST_F(ScenarioTest, WhatOneCommandChangesAnotherShowsAfterAKill) {
    EXPECT_EQ(tool("power enable npa -- power simulate 10 -- power simulate 22 -- power dump npa -- baseband state 6").status, 0);
    daemon_.stop(SIGKILL);
    daemon_.start();
    EXPECT_THAT(tool("baseband wake").out,
                AllOf(HasSubstr("Baseband woke the AP due to:\n{"), HasSubstr(R"("KeyBasebandWakeReason":"short message")")));
    EXPECT_THAT(dumped("power-log-npa.txt"), AllOf(HasSubstr("NPA power log, enabled"), HasSubstr("request=short message")));
    const auto deadline = std::chrono::steady_clock::now() + support::kPatience;
    while (tool("baseband state").out != "Boot state: Ready\nOperating mode: 6\n") {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    }

    EXPECT_EQ(tool("rfs erase").out,
              "Erase remote filessytem: Success\nTriggering baseband soft-reset ...\nBaseband soft-reset: Success\n");
    EXPECT_EQ(tool("baseband state").out, "Boot state: Ready\nOperating mode: 1\n");
    EXPECT_THAT(dumped("power-log-npa.txt"), HasSubstr("NPA power log, disabled"));
}

TEST_F(ScenarioTest, SelfTestShowsEverythingOrEndsByAnotherTerminal) {
    EXPECT_EQ(tool("baseband state 0").out, "Success\n");
    // The baseband is ready and nobody else watches: the test begins with the request, and its start is shown all the same.
    const Outcome whole = tool("baseband diagnostics run rftest");
    EXPECT_EQ(whole.status, 0);
    EXPECT_THAT(whole.out, AllOf(HasSubstr(R"({"KeyBasebandDiagnosticsPercentage":0})"), HasSubstr("RSSIMeasurementPortBList"),
                                 HasSubstr(R"("KeyRFSelfTestOverallStatus":"Passed")"),
                                 testing::EndsWith("to test BasebandDiagnosticsTypeRFSelfTest : Success\n")));
    EXPECT_EQ(whole.err, "");
    EXPECT_THAT(dumped("rf-self-test.json"), HasSubstr("BasebandDiagnosticsStatusComplete"));

    support::Process running({support::kTool, "baseband", "diagnostics", "run", "rftest"}, daemon_.environment());
    ASSERT_TRUE(running.waitForOutput("Event data"));
    EXPECT_THAT(tool("baseband diagnostics abort").out, HasSubstr(" : Success\n"));
    const Outcome aborted = running.finish();
    EXPECT_THAT(aborted.out, AllOf(HasSubstr(R"("KeyBasebandDiagnosticsStatus":"BasebandDiagnosticsStatusAborted")"),
                                   HasSubstr(" : Failed\n"), Not(HasSubstr("MeasurementPort"))));
    EXPECT_THAT(aborted.err, HasSubstr("aborted on request"));
}

TEST_F(ScenarioTest, BlockedResetsIncludeTheModeThatResets) {
    std::filesystem::create_directories(daemon_.folder() / "config/corvane");
    const std::string preferences = daemon_.folder() / "config/corvane/com.quorvel.Corvane.json";
    // What was unblocked can be blocked again.
    for (int round = 0; round < 2; ++round) {
        support::writeFile(preferences, R"({"CurrentUser":{"CurrentHost":{"BlockBasebandResets":true}}})");
        EXPECT_EQ(tool("baseband state 3 -- baseband state 4").out, "Success\nFailed\n");
        EXPECT_THAT(tool("baseband reset soft").err, HasSubstr("BlockBasebandResets"));
        EXPECT_EQ(tool("baseband reset unblock -- baseband state 4").out, "Reset unblock: Success\nSuccess\n");
    }
    // A file that can't be read may block them.
    std::filesystem::remove(preferences);
    std::filesystem::create_symlink("/dev/zero", preferences);
    EXPECT_THAT(tool("baseband reset soft").err, HasSubstr("The preferences can't be read"));
    EXPECT_THAT(tool("baseband reset unblock").out, "Reset unblock: Failed\n");
}

}  // namespace
