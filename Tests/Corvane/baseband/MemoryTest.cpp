#include "Corvane/baseband/Bench.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>

namespace corvane {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// What a baseband remembers: wakes, power logs, non-volatile data, statistics.
class MemoryTest : public Bench {
protected:
    static Command sync(bool wait) { return call(&Baseband::syncFileSystem, wait); }
    std::string wake() { return perform(call(&Baseband::getWakeReason)).value; }
    std::string statistics() { return perform(call(&Baseband::getStatistics)).value; }
    void expectOk(const Command& command) { EXPECT_EQ(codeOf(perform(command)), "ok"); }
};

TEST_F(MemoryTest, LastWakeFollowsNotificationsAndSurvives) {
    const std::pair<std::uint32_t, const char*> cases[] = {
        {0x10, "0 , wake 0"},
        {0x21, "1 voice call, wake 1"},
        {0x22, "2 short message, wake 2"},
        {0x23, "3 packet data, wake 3"},
        {0x20, "0 woken by itself, wake 3"},
        {0x24, "4 network registration, wake 4"},
        {0x25, "5 positioning, wake 5"},
        {0x26, "6 SIM, wake 6"},
        {0x10, "6 SIM, wake 6"},
    };
    for (const auto& [message, last] : cases) {
        expectOk(notify(message));
        EXPECT_EQ(wake(), last) << message;
    }
    expectOk(reset(ResetType::Soft));
    const std::string afterReset = "7 baseband reset, wake 7";
    EXPECT_EQ(wake(), afterReset);
    expectOk(reset(ResetType::Soft));
    EXPECT_EQ(wake(), afterReset) << "a reset wakes nobody who is awake";
    restart();
    EXPECT_EQ(wake(), afterReset);
}

TEST_F(MemoryTest, PowerLogsRecordWhileEnabled) {
    const auto npa = [this] { return snapshot("power-log-npa.txt"); };
    const auto f3 = [this] { return snapshot("power-log-f3.txt"); };
    const std::string radioOn = "/rf/transceiver client=mode request=receive+transmit";

    expectOk(mode(0));
    EXPECT_THAT(npa(), AllOf(HasSubstr("disabled"), HasSubstr("Never dumped"), Not(HasSubstr("/rf"))));
    EXPECT_EQ(codeOf(perform(powerLog(PowerLog::NPA, PowerLogAction::Dump))), "state");

    expectOk(powerLog(PowerLog::NPA, PowerLogAction::Enable));
    restart();
    expectOk(mode(0));
    expectOk(notify(0x10));
    EXPECT_THAT(npa(), AllOf(HasSubstr("enabled"), HasSubstr(radioOn), HasSubstr("/xo/crystal")));
    EXPECT_THAT(f3(), AllOf(HasSubstr("disabled"), Not(HasSubstr("mode:"))));

    expectOk(powerLog(PowerLog::NPA, PowerLogAction::Dump));
    EXPECT_THAT(npa(), AllOf(HasSubstr("Dumped at"), HasSubstr(radioOn), HasSubstr("Nothing recorded since")));
    expectOk(powerLog(PowerLog::F3, PowerLogAction::Enable));
    expectOk(reset(ResetType::Soft));
    EXPECT_THAT(f3(), AllOf(HasSubstr("boot: Resetting"), HasSubstr("mode: 1 (low power)"), HasSubstr("collection begins")));
    expectOk(reset(ResetType::Hard));
    EXPECT_THAT(f3(), Not(HasSubstr("collection begins"))) << "a power cycle loses what was in memory";

    expectOk(powerLog(PowerLog::NPA, PowerLogAction::Disable));
    expectOk(mode(2));
    EXPECT_THAT(npa(), HasSubstr("collection ends"));
    restart();
    EXPECT_THAT(npa(), AllOf(HasSubstr(radioOn), Not(HasSubstr("collection ends")))) << "the dump is on disk, the rest was not";
}

TEST_F(MemoryTest, PowerLogsKeepTheNewestEntries) {
    expectOk(powerLog(PowerLog::F3, PowerLogAction::Enable));
    for (int round = 0; round < 300; ++round) {
        expectOk(mode(round % 2));
        expectOk(notify(0x10));
    }
    expectOk(mode(2));
    const std::string log = snapshot("power-log-f3.txt");
    EXPECT_LT(log.size(), 60'000U);
    EXPECT_THAT(log, AllOf(HasSubstr("mode: 2 (factory test)"), Not(HasSubstr("collection begins"))));
}

TEST_F(MemoryTest, ErasePutsTheFactoryValuesBack) {
    const Command changes[] = {mode(6), powerLog(PowerLog::NPA, PowerLogAction::Enable),
                               powerLog(PowerLog::F3, PowerLogAction::Enable), sync(true)};
    for (const Command& change : changes) {
        expectOk(change);
    }
    const std::string before = snapshot("baseband.json");
    expectOk(call(&Baseband::eraseNVData));
    restart();
    runUntilEvent("Ready");
    EXPECT_THAT(events_, testing::Contains("mode 1"));
    EXPECT_THAT(snapshot("baseband.json"),
                AllOf(HasSubstr(R"("PowerLogNPA": 0)"), HasSubstr(R"("PowerLogF3": 0)"), HasSubstr(R"("PersistentLowPower": 0)"),
                      HasSubstr(before.substr(before.find("\"SerialNumber\""), 20)), Not(HasSubstr("LastFileSystemSync"))));
}

TEST_F(MemoryTest, SyncWaitsOrNot) {
    simulated::Durations endless = kShort;
    endless.fileSystemSync = kForever;
    restart(endless);
    expectOk(sync(false));
    const auto waiting = begin(sync(true));
    EXPECT_EQ(waiting->times, 0);
    expectOk(reset(ResetType::Soft));
    EXPECT_EQ(codeOf(await(waiting)), "aborted");
    restart();
    runUntilEvent("Ready");
    begin(sync(true));
    expectOk(reset(ResetType::Soft));
    EXPECT_THAT(snapshot("baseband.json"), Not(HasSubstr("LastFileSystemSync")));
    expectOk(sync(true));
    EXPECT_THAT(snapshot("baseband.json"), HasSubstr("LastFileSystemSync"));
}

TEST_F(MemoryTest, StatisticsCountWhatHappened) {
    expectOk(reset(ResetType::Soft, "first \xFF"));
    expectOk(reset(ResetType::Soft, "second"));
    expectOk(reset(ResetType::Hard, std::string(100'000, 'x')));
    EXPECT_LT(statistics().size(), 2'000U) << "fits a packet whatever a client sends";
    expectOk(reset(ResetType::Hard, "third"));
    expectOk(mode(3));
    expectOk(mode(4));
    expectOk(mode(5));
    EXPECT_THAT(statistics(), AllOf(HasSubstr(R"("SoftResets":3)"), HasSubstr(R"("HardResets":2)"), HasSubstr(R"("Boots":5)"),
                                    HasSubstr(R"("LastHardResetReason":"third")"), HasSubstr("Operating mode 4 (reset)"),
                                    HasSubstr(R"("ModeChanges":3)"), HasSubstr(R"("Shutdowns":1)")));
    restart();
    runUntilEvent("Ready");
    EXPECT_THAT(statistics(), AllOf(HasSubstr(R"("SoftResets":3)"), HasSubstr(R"("Boots":6)")));
}

TEST_F(MemoryTest, WhatCannotBeWrittenIsRefusedAndChangesNothing) {
    expectOk(mode(0));
    expectOk(powerLog(PowerLog::F3, PowerLogAction::Enable));
    const std::string before = wake();
    // As on a full disk: no file may grow.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    const Command commands[] = {mode(6),
                                powerLog(PowerLog::NPA, PowerLogAction::Enable),
                                powerLog(PowerLog::F3, PowerLogAction::Dump),
                                notify(0x21),
                                call(&Baseband::eraseNVData),
                                sync(true)};
    for (const Command& command : commands) {
        EXPECT_EQ(codeOf(perform(command)), "storage") << &command - commands;
    }
    setrlimit(RLIMIT_FSIZE, &limit);
    expectOk(reset(ResetType::Soft));
    EXPECT_THAT(events_, Not(testing::Contains("mode 6")));
    EXPECT_EQ(wake(), before);
    EXPECT_THAT(snapshot("power-log-npa.txt"), HasSubstr("disabled"));
}

TEST_F(MemoryTest, DamagedMemoryIsLikeNone) {
    for (const char* damage : {"", "{", "[]", "null", R"({"SoftResets":"x","Boots":1.5,"SerialNumber":true})"}) {
        for (const char* name : {"baseband.nv", "baseband.statistics", "baseband.wake"}) {
            ASSERT_TRUE(store_->store("baseband", name, damage));
        }
        restart();
        runUntilEvent("Ready");
        EXPECT_THAT(statistics(), AllOf(HasSubstr(R"("SoftResets":0)"), HasSubstr(R"("Boots":1)"))) << damage;
    }
}

}  // namespace
}  // namespace corvane
