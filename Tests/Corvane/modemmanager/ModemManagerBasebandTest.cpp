#include "Corvane/baseband/modemmanager/ModemManagerBaseband.h"

#include "Corvane/baseband/Bench.h"
#include "Corvane/modemmanager/ModemManagerRig.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace corvane {
namespace {

using support::AtModem;
using support::ModemManagerRig;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using testing::UnorderedElementsAre;

/// The backend with a real ModemManager.
class ModemManagerBasebandTest : public BasebandBench {
protected:
    void SetUp() override {
        ASSERT_EQ(ModemManagerRig::whatIsMissing(), "");
        rig_.emplace();
    }
    void TearDown() override {
        if (baseband_) {
            baseband_->stop();
        }
    }

    void start(const std::string& name = "") {
        baseband_ = std::make_unique<ModemManagerBaseband>(*loop_, name);
        baseband_->start(*this);
    }
    /// Starts it and waits until it knows `modem`.
    void startWith(const AtModem& modem, const std::string& plugin = "fibocom") {
        rig_->plug(modem, "slot", plugin);
        start();
        awaitEvents({"Ready", "mode 1"});
    }

    /// Waits for as many events, and holds all there were against them.
    void awaitEvents(const std::vector<std::string>& expected) {
        runUntil([&] { return events_.size() >= expected.size(); });
        EXPECT_EQ(events_, expected);
        events_.clear();
    }
    /// A refusal as "code: sentence"; the value, or "ok" when there is none.
    static std::string describe(const Answer& answer) {
        return answer.refusal ? codeOf(answer) + ": " + answer.refusal->sentence : answer.value.empty() ? "ok" : answer.value;
    }
    std::string perform(const Command& command) { return describe(BasebandBench::perform(command)); }
    /// Waits until the statistics, rendered as JSON, hold `text`.
    void awaitStatistics(const std::string& text) {
        runUntil([&] { return perform(call(&Baseband::getStatistics)).find(text) != std::string::npos; });
    }

    const Command kVersion = call(&Baseband::getVersion);
    const Command kBootState = call(&Baseband::getBootState);
    const Command kMode = call(&Baseband::getOperatingMode);
    const Command kTime = call(&Baseband::getTime);
    const Command kErase = call(&Baseband::eraseNVData);
    const Command kSoftReset = reset(ResetType::Soft);

    std::optional<ModemManagerRig> rig_;
};

TEST_F(ModemManagerBasebandTest, ChangesModesAndTellsEachOnTheWay) {
    AtModem modem;
    startWith(modem);
    const std::pair<int, std::vector<std::string>> steps[] = {
        {0, {"mode 0"}}, {3, {"mode 1", "mode 3"}}, {0, {"mode 1", "mode 0"}}};
    for (const auto& [number, events] : steps) {
        EXPECT_EQ(perform(mode(number)), "ok");
        awaitEvents(events);
        EXPECT_EQ(perform(kMode), std::to_string(number));
    }
}

TEST_F(ModemManagerBasebandTest, WhatAModemCanNotDoIsRefusedInOneSentence) {
    AtModem modem;
    startWith(modem, "generic");  // a plug-in that has neither power states nor a reset
    const struct {
        Command command;
        std::string refusal;
    } cases[] = {
        {mode(1), "unsupported: The modem can't go to low power: Requested power transition is not supported by this modem."},
        {mode(3), "unsupported: The modem can't go offline: Requested power transition is not supported by this modem."},
        {mode(2),
         "unsupported: ModemManager can't bring a modem to operating mode 2; 0 (online), 1 (low power) and 3 (offline) are "
         "possible."},
        {kSoftReset, "unsupported: The modem can't reset: Cannot reset the modem: operation not supported."},
        {reset(ResetType::Hard), "unsupported: A modem behind ModemManager has no hard reset"},
        {kErase, "unsupported: The modem can't put its data back to the factory's: Cannot reset the modem to factory defaults"},
        {kTime, "state: The modem can't tell the time: Cannot load network time: not registered yet."},
        {call(&Baseband::abortSelfTest), "unsupported: This baseband can't test its radio."},
    };
    for (const auto& [command, refusal] : cases) {
        EXPECT_THAT(perform(command), StartsWith(refusal));
    }
    EXPECT_EQ(perform(kBootState), "Ready");
    awaitEvents({});
}

TEST_F(ModemManagerBasebandTest, ASimThatIsLockedOrAbsentIsTold) {
    const struct {
        AtModem::Sim sim;
        std::string bootState;
        std::string reply;
        std::string online;
        std::string time;
    } cases[] = {
        {AtModem::Sim::Locked, "Ready", "Ready",
         "state: The modem can't go online: Cannot enable modem: device locked; its lock is sim-pin, \"mmcli --sim=0 --pin=PIN\" "
         "opens the SIM's.",
         "unsupported: The modem can't tell the time: its lock is sim-pin"},
        {AtModem::Sim::Absent, "Off (sim-missing)", "Off (sim-missing): ModemManager found it unusable: sim-missing.",
         "state: The modem can't go online: modem in failed state; ModemManager found it unusable: sim-missing.",
         "unsupported: The modem can't tell the time: ModemManager found it unusable: sim-missing."},
    };
    start();
    for (const auto& [sim, bootState, reply, online, time] : cases) {
        AtModem modem;
        modem.setSim(sim);
        rig_->plug(modem);
        awaitEvents({bootState, "mode 1"});
        EXPECT_EQ(perform(kBootState), reply);
        EXPECT_EQ(perform(mode(0)), online);
        EXPECT_THAT(perform(kTime), StartsWith(time));
        EXPECT_EQ(perform(mode(3)), "ok");
        awaitEvents({"mode 3"});
        if (sim == AtModem::Sim::Locked) {
            rig_->call("/org/freedesktop/ModemManager1/SIM/0", "org.freedesktop.ModemManager1.Sim", "SendPin", "s",
                       AtModem::kPin);
            awaitEvents({"Booting", "Ready"});
            EXPECT_EQ(perform(mode(0)), "ok");
            awaitEvents({"mode 1", "mode 0"});
        }
        rig_->unplug();
        awaitEvents({"Off"});
        ASSERT_FALSE(HasFailure());
    }
}

TEST_F(ModemManagerBasebandTest, ModemManagerAndBusComeAndGo) {
    AtModem modem;
    startWith(modem);
    const std::string off = "Off";
    const struct {
        std::function<void()> leave;
        std::string refusal;
        std::function<void()> comeBack;
    } cases[] = {
        {[&] { rig_->unplug(); }, "state: ModemManager has no modem.", [] {}},
        {[&] { rig_->stopModemManager(SIGKILL); },
         "state: ModemManager isn't running; \"systemctl start ModemManager\" starts it.", [&] { rig_->startModemManager(); }},
        {[&] { rig_->stopBus(); },
         "state: The system bus can't be reached, so neither can a modem; it is tried again every few seconds.",
         [&] {
             rig_->startBus();
             rig_->startModemManager();
         }},
    };
    for (const auto& [leave, refusal, comeBack] : cases) {
        leave();
        awaitEvents({"Off"});
        for (const Command& command : {kMode, kTime, kErase, mode(0), kSoftReset}) {
            EXPECT_EQ(perform(command), refusal);
        }
        EXPECT_EQ(perform(kBootState), off);
        EXPECT_EQ(perform(kVersion), "ok");
        comeBack();
        rig_->plug(modem);
        awaitEvents({"Ready", "mode 1"});
        EXPECT_EQ(perform(mode(0)), "ok");
        awaitEvents({"mode 0"});
        ASSERT_FALSE(HasFailure());
    }
}

TEST_F(ModemManagerBasebandTest, NothingWaitsForOneThatDoesNotAnswer) {
    AtModem modem;
    startWith(modem);
    modem.mute();
    EXPECT_EQ(perform(mode(0, 1)), "timeout: The modem isn't in operating mode 0 after 1 s; it may still come.");
    rig_->stopModemManager(SIGSTOP);
    EXPECT_EQ(perform(kMode), "1");

    std::vector<std::string> answers;
    for (const Command& command : {kTime, mode(3), kErase, kSoftReset, kSoftReset}) {
        command(*baseband_, [&](const Answer& answer) { answers.push_back(describe(answer)); });
    }
    EXPECT_THAT(answers, ElementsAre("busy: The modem is being reset already."));
    answers.clear();
    baseband_->stop();
    EXPECT_THAT(answers, UnorderedElementsAre(StartsWith("aborted: "), StartsWith("aborted: "), StartsWith("aborted: "),
                                              StartsWith("aborted: ")));
}

TEST_F(ModemManagerBasebandTest, ABusThatDoesNotAnswerHoldsNothingUp) {
    AtModem silence;
    silence.mute();
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:abstract=" + silence.port()).c_str(), 1);
    start();
    EXPECT_EQ(perform(kBootState), "Off");
    EXPECT_THAT(perform(mode(0)), StartsWith("state: The system bus can't be reached"));
    const auto begin = std::chrono::steady_clock::now();
    sd_event_exit(&loop_->event(), 0);
    sd_event_loop(&loop_->event());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, support::kPatience);
}

TEST_F(ModemManagerBasebandTest, OneOfSeveralModemsIsChosenAndKept) {
    AtModem first("490154203237518");
    AtModem second("356938035643809");
    rig_->plug(first, "left");
    rig_->plug(second, "right");
    const std::string isFirst = R"(IMEI 490154203237518)";
    const std::string isSecond = R"(IMEI 356938035643809)";
    const struct {
        std::string name;
        std::string chosen;
    } cases[] = {
        {"356938035643809", isSecond},
        {"/virtual/left", isFirst},
        {first.port(), isFirst},
        {"", isFirst},
        {"/org/freedesktop/ModemManager1/Modem/0", isFirst},
        {"1", isSecond},
    };
    for (const auto& [name, chosen] : cases) {
        start(name);
        awaitStatistics(chosen);
        baseband_->stop();
    }
    // An index is another one when the modem comes back, and may then be that of another modem.
    start("1");
    awaitStatistics(isSecond);
    events_.clear();
    rig_->unplug("right");
    awaitEvents({"Off"});
    EXPECT_THAT(perform(kMode),
                HasSubstr("ModemManager has no modem \"1\"; it has /org/freedesktop/ModemManager1/Modem/0 (Acme"));
    rig_->plug(second, "right");
    awaitEvents({"Ready", "mode 1"});
    awaitStatistics(isSecond);
}

TEST_F(ModemManagerBasebandTest, ASnapshotHoldsTheModemAndItsBearers) {
    AtModem modem;
    startWith(modem);
    EXPECT_EQ(rig_->call("/org/freedesktop/ModemManager1/Modem/0", "org.freedesktop.ModemManager1.Modem", "CreateBearer", "a{sv}",
                         1, "apn", "s", "internet"),
              "");
    EXPECT_THAT(snapshot("modem.json"), HasSubstr(R"("EquipmentIdentifier": "490154203237518")"));
    runUntil([&] { return snapshot("bearers.json").find(R"("apn": "internet")") != std::string::npos; });
}

}  // namespace
}  // namespace corvane
