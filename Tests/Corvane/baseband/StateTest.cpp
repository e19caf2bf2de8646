#include "Corvane/baseband/Bench.h"

#include <gmock/gmock.h>

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Events = std::vector<std::string>;

class StateTest : public Bench {
protected:
    std::string bootState() { return perform(call(&Baseband::getBootState)).value; }
    std::string operatingMode() { return perform(call(&Baseband::getOperatingMode)).value; }
};

const Events kSoftReset{"Resetting", "Booting", "mode 1", "Ready"};

TEST_F(StateTest, Transitions) {
    struct Step {
        Command command;
        std::string code;
        Events events;
        std::string bootState;
        const char* mode;
    };
    const Step steps[] = {
        {mode(0), "ok", {"Booting", "mode 1", "Ready", "mode 0"}, "Ready", "0"},  // asked for while it boots
        {mode(0), "ok", {}, "Ready", "0"},
        {mode(1), "ok", {"mode 1"}, "Ready", "1"},
        {mode(2), "ok", {"mode 2"}, "Ready", "2"},
        {mode(4), "state", {}, "Ready", "2"},
        {mode(7), "ok", {"mode 7"}, "Ready", "7"},
        {mode(3), "ok", {"mode 3"}, "Ready", "3"},
        {mode(4), "ok", {"mode 4", "Resetting", "Booting", "mode 1", "Ready"}, "Ready", "1"},
        {reset(ResetType::Soft), "ok", kSoftReset, "Ready", "1"},
        {mode(6), "ok", {"mode 6"}, "Ready", "6"},
        {reset(ResetType::Hard), "ok", {"Resetting", "Booting", "mode 6", "Ready"}, "Ready", "6"},  // persistent
        {mode(3), "ok", {"mode 3"}, "Ready", "3"},
        {mode(4), "ok", {"mode 4", "Resetting", "Booting", "mode 6", "Ready"}, "Ready", "6"},
        {mode(1), "ok", {"mode 1"}, "Ready", "1"},
        {mode(5), "ok", {"mode 5", "Off"}, "Off", "5"},
        {mode(0), "state", {}, "Off", "5"},
        {call(&Baseband::getTime), "state", {}, "Off", "5"},
        {notify(0x21), "state", {}, "Off", "5"},
        {notify(0x20), "ok", {}, "Off", "5"},
        {reset(ResetType::Soft), "ok", {"Booting", "mode 1", "Ready"}, "Ready", "1"},
        {mode(5, 60), "ok", {"mode 5", "Off"}, "Off", "5"},
        {reset(ResetType::Hard), "ok", {"Booting", "mode 1", "Ready"}, "Ready", "1"},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(&step - steps);
        const Answer answer = perform(step.command);
        EXPECT_EQ(codeOf(answer), step.code);
        EXPECT_EQ(events_, step.events);
        EXPECT_EQ(bootState(), step.bootState);
        EXPECT_EQ(operatingMode(), step.mode);
        events_.clear();
    }
}

TEST_F(StateTest, CommandsWaitForABootInTheirOrder) {
    const AwaitedPtr commands[] = {begin(mode(3)), begin(mode(4)), begin(mode(2)), begin(mode(5)), begin(mode(0))};
    const char* const codes[] = {"ok", "ok", "ok", "ok", "state"};
    for (std::size_t index = 0; index < std::size(commands); ++index) {
        EXPECT_EQ(codeOf(await(commands[index])), codes[index]) << index;
    }
    EXPECT_THAT(events_, ElementsAre("Booting", "mode 1", "Ready", "mode 3", "mode 4", "Resetting", "Booting", "mode 1", "Ready",
                                     "mode 2", "mode 5", "Off"));
}

TEST_F(StateTest, OneResetAtATime) {
    const auto cutsBootShort = begin(reset(ResetType::Soft));
    EXPECT_EQ(codeOf(perform(reset(ResetType::Hard))), "busy");
    EXPECT_EQ(codeOf(await(cutsBootShort)), "ok");
    EXPECT_THAT(events_, ElementsAre("Booting", "mode 1", "Resetting", "Booting", "mode 1", "Ready"));
    const auto shutdown = begin(mode(5));
    EXPECT_EQ(codeOf(perform(reset(ResetType::Hard))), "busy");
    EXPECT_EQ(codeOf(await(shutdown)), "ok");
}

TEST_F(StateTest, TimeoutAnswersAndWhatWasBegunGoesOn) {
    simulated::Durations slowReset = kShort;
    slowReset.softReset = std::chrono::milliseconds(1500);
    restart(slowReset);
    EXPECT_EQ(codeOf(perform(mode(3))), "ok");
    const auto resetting = begin(mode(4, 1));
    const auto neverBegun = begin(mode(0, 1));
    const Answer late = await(resetting);
    EXPECT_EQ(codeOf(late), "timeout");
    EXPECT_THAT(late.refusal->sentence, HasSubstr("mode 4 (reset) within 1 s"));
    EXPECT_EQ(codeOf(await(neverBegun)), "timeout");
    EXPECT_EQ(bootState(), "Resetting");
    events_.clear();
    runUntilEvent("Ready");
    EXPECT_THAT(events_, ElementsAre("Booting", "mode 1", "Ready"));
    EXPECT_EQ(resetting->times, 1);
}

TEST_F(StateTest, StopAnswersWhatIsOutstanding) {
    simulated::Durations endless = kShort;
    endless.boot = kForever;
    restart(endless);
    const AwaitedPtr commands[] = {begin(mode(0)), begin(mode(1, 100)), begin(call(&Baseband::getTime)),
                                   begin(reset(ResetType::Soft))};
    baseband_->stop();
    for (const AwaitedPtr& command : commands) {
        EXPECT_EQ(command->times, 1);
        EXPECT_EQ(codeOf(*command->answer), "aborted");
    }
}

TEST_F(StateTest, ClockRunsByItself) {
    const auto time = [this] { return perform(call(&Baseband::getTime)).value; };
    const std::string first = time();
    EXPECT_THAT(first, testing::MatchesRegex("20..-..-..T..:..:..\\....Z"));
    runUntil([&] { return time() > first; });
}

}  // namespace
}  // namespace corvane
