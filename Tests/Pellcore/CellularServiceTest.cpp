#include "support/Process.h"
#include "support/ScriptedManager.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <memory>

namespace {

using support::Process;
using support::ScriptedManager;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string kAsk = "GetBasebandBootStateCommand null";
const std::string kBringOnline = R"(SetBasebandOperatingModeCommand {"KeyBasebandOperatingMode":0})";

xpc::Object bootState(const std::string& state) {
    return support::dictionary({{"KeyBasebandBootState", support::text(state)}});
}

/// A manager whose baseband is in `state`, and takes or refuses every mode.
std::unique_ptr<ScriptedManager> startManager(const std::string& path, const std::string& state, std::int32_t result = 0) {
    return std::make_unique<ScriptedManager>(path, [state, result](auto& connection, const auto& request) {
        if (request.command == "GetBasebandBootStateCommand") {
            connection.reply(request.id, 0, bootState(state));
        } else {
            connection.reply(request.id, result, support::dictionary({{"KeyErrorString", support::text("not\nnow")}}));
        }
    });
}

class CellularService : public testing::Test {
protected:
    CellularService() : service_({support::kCellularService}, {{"CORVANE_SOCKET", path_}, {"XDG_RUNTIME_DIR", folder_.path()}}) {}

    const support::TempFolder folder_;
    const std::string path_ = folder_ / "s";
    Process service_;
};

TEST_F(CellularService, BringsTheBasebandOnlineWheneverItGetsReady) {
    constexpr const char* kBootStateChange = "BasebandBootStateChangeNotification";
    EXPECT_TRUE(service_.waitForError("There is no manager socket " + path_ + "; is Corvane running?"));
    {
        const auto manager = startManager(path_, "Booting");
        ASSERT_TRUE(service_.waitForError("boot state is Booting"));
        manager->broadcast(kBootStateChange, bootState("Ready"));
        EXPECT_TRUE(manager->waitForPacket(kBringOnline, 1));
        // What somebody does with the mode then is left alone; so is a state that was known.
        manager->broadcast("BasebandOperatingModeChangeNotification",
                           support::dictionary({{"KeyBasebandOperatingMode", support::number(1)}}));
        manager->broadcast(kBootStateChange, bootState("Ready"));
        manager->broadcast(kBootStateChange, bootState("Resetting"));
        manager->broadcast(kBootStateChange, bootState("Ready"));
        EXPECT_TRUE(manager->waitForPacket(kBringOnline, 2));
        EXPECT_THAT(manager->requests(), ElementsAre(kAsk, kBringOnline, kBringOnline));
    }
    const auto startedAgain = startManager(path_, "Ready");
    EXPECT_TRUE(startedAgain->waitForPacket(kBringOnline));
    EXPECT_THAT(startedAgain->requests(), ElementsAre(kAsk, kBringOnline));
    EXPECT_THAT(startedAgain->packets(), testing::Contains("events on"));
}

TEST_F(CellularService, LeavesAModeAloneThatSomebodyHasAskedFor) {
    const ScriptedManager manager(path_, [](auto& connection, const auto& request) {
        connection.reply(request.id, 0,
                         support::dictionary({{"KeyBasebandBootState", support::text("Ready")},
                                              {"KeyBasebandOperatingMode", support::number(3)}}));
    });
    ASSERT_TRUE(service_.waitForError("it is left as it is\n"));
    EXPECT_THAT(manager.requests(), ElementsAre(kAsk));
}

TEST_F(CellularService, SaysWhyTheBasebandStaysOffline) {
    const auto manager = startManager(path_, "Ready", -534716160);
    EXPECT_TRUE(service_.waitForError("can't bring the baseband online: not?now\n"));
}

TEST_F(CellularService, IsAnnouncedUntilASignalEndsIt) {
    ASSERT_TRUE(service_.waitForError("is Corvane running?"));
    const std::string announcement = folder_ / "corvane/Pellcore.pid";
    EXPECT_EQ(support::readFile(announcement), std::to_string(service_.pid()) + "\n");
    EXPECT_EQ(support::readFile("/proc/" + std::to_string(service_.pid()) + "/comm"), "Pellcore\n");
    service_.signal(SIGTERM);
    const support::Outcome outcome = service_.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("Pellcore: ended by Terminated\n"));
    EXPECT_FALSE(std::filesystem::exists(announcement));
}

TEST(CellularServiceOptions, AreFew) {
    EXPECT_THAT(support::run({support::kCellularService, "--help"}).out, testing::StartsWith("Usage: Pellcore"));
    EXPECT_THAT(support::run({support::kCellularService, "--version"}).out, testing::StartsWith("Pellcore 1."));
    const support::Outcome refused = support::run({support::kCellularService, "--help", "x"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err, "Pellcore: unexpected 'x'; it takes --help, --version or nothing\n");
}

}  // namespace
