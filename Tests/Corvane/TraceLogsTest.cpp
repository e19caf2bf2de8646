#include "Corvane/Peer.h"
#include "support/Daemon.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <set>

namespace {

using support::Daemon;
using support::dictionary;
using support::number;
using support::text;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace fs = std::filesystem;

const xpc::Object kNull = xpc::null();

class TraceLogs : public testing::Test {
protected:
    std::string ask(const std::string& command, const xpc::Object& argument) {
        return Peer(daemon_.socketPath()).ask(command, argument);
    }
    std::string collect(const std::string& reason) {
        const std::string answer = ask("CollectTraceLogsCommand", dictionary({{"KeyTraceLogsReason", text(reason)}}));
        return answer.starts_with(R"(0 {"KeyTraceLogsFolder":")" + daemon_.statePath() + "/Snapshots/log-bb-") ? "0" : answer;
    }
    std::string add(const std::string& filter, const xpc::Object& value) {
        return ask("AddTraceFilterCommand", dictionary({{"KeyTraceFilterName", text(filter)}, {"KeyTraceFilterValue", value}}));
    }
    std::string remove(const std::string& filter) {
        return ask("RemoveTraceFilterCommand", dictionary({{"KeyTraceFilterName", text(filter)}}));
    }
    std::string filters() { return ask("GetTraceFiltersCommand", kNull); }
    std::string keepScratchLogs(const std::string& value) {
        return ask("SetTracePropertyCommand", property("RYN", "KeepScratchLogs", value));
    }
    /// The folders, oldest first.
    std::vector<fs::path> folders() const {
        std::set<fs::path> found;
        std::error_code none;
        for (const auto& entry : fs::directory_iterator(daemon_.statePath() + "/Snapshots", none)) {
            found.insert(entry.path());
        }
        return {found.begin(), found.end()};
    }

    Daemon daemon_;
    const std::string scratchLog_ = daemon_.statePath() + "/Scratch/Corvane.log";
};

TEST_F(TraceLogs, AreAFolderThatAPersonCanRead) {
    EXPECT_EQ(collect("[tool] \x1Bwhy"), "0");
    ASSERT_EQ(folders().size(), 1U);
    const fs::path folder = folders()[0];
    EXPECT_THAT(folder.filename().string(), MatchesRegex("log-bb-[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}-[0-9]{2}-[0-9]{2}Z-1"));
    EXPECT_TRUE(daemon_.process().waitForError("collected trace logs in " + folder.string()));
    EXPECT_THAT(support::readFile(folder / "Corvane.log"), AllOf(HasSubstr("Z ready\n"), HasSubstr("collected trace logs")));
    EXPECT_THAT(support::readFile(folder / "manager.json"),
                AllOf(StartsWith("{\n"), HasSubstr(R"("Reason": "[tool] \\u001bwhy")"), HasSubstr(R"("History": "256")"),
                      HasSubstr(R"("MaxLogLimit": 20)"), HasSubstr(R"("Baseband": "Simulated)")));
    EXPECT_TRUE(fs::exists(folder / "baseband.json"));
}

TEST_F(TraceLogs, AreKeptUpToTheLimit) {
    EXPECT_EQ(add("MaxLogLimit", number(2)), "0");
    for (int count = 0; count < 3; ++count) {
        EXPECT_EQ(collect("again"), "0");
    }
    ASSERT_EQ(folders().size(), 2U);
    EXPECT_THAT(folders()[0].string(), testing::EndsWith("-2"));
    EXPECT_THAT(folders()[1].string(), testing::EndsWith("-3"));
    EXPECT_EQ(add("MaxLogLimit", number(0)), "0");
    EXPECT_THAT(collect("never"), AllOf(StartsWith("0xE020E10A"), HasSubstr("max-log filter is 0")));
    EXPECT_EQ(folders().size(), 2U);
}

TEST_F(TraceLogs, AreRefusedOnAFullerDiskThanTheFilterAllows) {
    EXPECT_EQ(add("FreeSpacePercentage", number(100)), "0");
    EXPECT_THAT(collect("too full"), AllOf(StartsWith("0xE020E10A"), HasSubstr("the free-space filter asks for 100 %")));
    EXPECT_TRUE(folders().empty());
    EXPECT_EQ(remove("FreeSpacePercentage"), "0");
    EXPECT_EQ(collect("no filter"), "0");
}

TEST_F(TraceLogs, TakeTheScratchLogAlongUnlessItIsKept) {
    EXPECT_EQ(collect("moved"), "0");
    EXPECT_FALSE(fs::exists(scratchLog_));
    EXPECT_EQ(keepScratchLogs("true"), "0");
    EXPECT_EQ(collect("copied"), "0");
    EXPECT_THAT(support::readFile(scratchLog_), HasSubstr("KeepScratchLogs is now true"));
    EXPECT_THAT(support::readFile(folders()[1] / "Corvane.log"), HasSubstr("KeepScratchLogs is now true"));
    EXPECT_EQ(keepScratchLogs("false"), "0");
    EXPECT_FALSE(fs::exists(scratchLog_));
}

TEST_F(TraceLogs, HaveFiltersThatOutliveTheManager) {
    EXPECT_EQ(filters(), R"(0 {"FreeSpacePercentage":1,"MaxLogLimit":20})");
    EXPECT_EQ(add("FreeSpacePercentage", number(33)), "0");
    EXPECT_EQ(remove("MaxLogLimit"), "0");
    daemon_.stop(SIGKILL);
    daemon_.start();
    EXPECT_EQ(filters(), R"(0 {"FreeSpacePercentage":33})");
    EXPECT_EQ(add("FreeSpacePercentage", kNull), "0");
    EXPECT_EQ(add("MaxLogLimit", kNull), "0");
    EXPECT_EQ(filters(), R"(0 {"FreeSpacePercentage":1,"MaxLogLimit":20})");
}

TEST_F(TraceLogs, AndSettingsAreTheirOwnersInAFolderThatEverybodyMayEnter) {
    daemon_.stop(SIGTERM);
    const fs::path state = daemon_.statePath();
    fs::permissions(state, fs::perms(0755));
    fs::permissions(state / "settings.db", fs::perms(0644));
    fs::remove_all(state / "Scratch");
    daemon_.start();
    EXPECT_EQ(keepScratchLogs("true"), "0");
    EXPECT_THAT(collect("private"), StartsWith("0"));
    ASSERT_EQ(folders().size(), 1U);
    const std::pair<fs::path, int> modes[] = {
        {state / "settings.db", 0600}, {state / "settings.db-wal", 0600}, {scratchLog_, 0600}, {folders()[0], 0700}};
    for (const auto& [path, mode] : modes) {
        EXPECT_EQ(static_cast<int>(fs::status(path).permissions()), mode) << path;
    }
}

TEST_F(TraceLogs, NeverFollowALinkNorWaitForAPipe) {
    const fs::path elsewhere = daemon_.folder() / "elsewhere";
    for (const bool isLink : {true, false}) {
        daemon_.stop(SIGTERM);
        fs::remove(scratchLog_);
        if (isLink) {
            fs::create_symlink(elsewhere, scratchLog_);
        } else {
            ASSERT_EQ(mkfifo(scratchLog_.c_str(), 0600), 0);
        }
        daemon_.start();
        EXPECT_TRUE(daemon_.process().waitForError("the manager's own log can't be written to " + scratchLog_));
        EXPECT_FALSE(fs::exists(elsewhere));
    }
}

/// What a kill leaves half written is no folder of trace logs, and goes with the next collection.
TEST_F(TraceLogs, AppearWhole) {
    const fs::path leftover = daemon_.statePath() + "/Snapshots/log-bb-2026-01-01T00-00-00Z-9.partial";
    fs::create_directories(leftover);
    EXPECT_EQ(collect("whole"), "0");
    ASSERT_EQ(folders().size(), 1U);
    EXPECT_THAT(folders()[0].string(), testing::EndsWith("-1"));
}

}  // namespace
