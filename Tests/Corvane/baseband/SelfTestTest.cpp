#include "Corvane/baseband/Bench.h"

#include <gmock/gmock.h>

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

ChannelValues all(std::int64_t value) {
    ChannelValues values;
    values.fill(value);
    return values;
}

/// The tool's own options.
RFSelfTestOptions options() {
    return {200, 230, {all(0), all(255)}, {all(0), all(255)}};
}

class SelfTestTest : public Bench {
protected:
    static Command run(const RFSelfTestOptions& with = options()) { return call(&Baseband::runSelfTest, with); }
    static Command abort() { return call(&Baseband::abortSelfTest, "on request"); }

    void becomeReady(const simulated::Durations& durations = kShort) {
        restart(durations);
        runUntilEvent("Ready");
        events_.clear();
    }
    static simulated::Durations endless() {
        simulated::Durations durations = kShort;
        durations.selfTest = kForever;
        return durations;
    }
    std::string statistics() { return perform(call(&Baseband::getStatistics)).value; }
};

TEST_F(SelfTestTest, CompletesWithEventsInOrderAndMeasurements) {
    becomeReady();
    EXPECT_EQ(perform(run()).value, "complete");
    EXPECT_THAT(events_,
                ElementsAre("test 0 goes on", "test 25 goes on", "test 50 goes on", "test 75 goes on", "test 100 complete"));
    ASSERT_TRUE(lastSelfTest_.result);
    EXPECT_TRUE(lastSelfTest_.result->passed());
    const auto& [forward, reverse, ratio, rssi] = lastSelfTest_.result->portB;
    for (std::size_t channel = 0; channel < forward.size(); ++channel) {
        EXPECT_NEAR(static_cast<double>(forward[channel]), channel < 24 ? 200 : 230, 10) << channel;
        EXPECT_EQ(forward[channel] - reverse[channel], ratio[channel]) << channel;
        EXPECT_LT(rssi[channel], forward[channel]) << channel;
    }
    EXPECT_NE(forward, lastSelfTest_.result->portA.forwardPower);
    EXPECT_THAT(statistics(), HasSubstr(R"("SelfTestsPassed":1)"));
}

TEST_F(SelfTestTest, JudgesAgainstTheLimitsThatWereSent) {
    struct Case {
        RFLimits RFSelfTestOptions::*limits;
        RFLimits changed;
        const char* error;
    };
    const auto powerRatio = &RFSelfTestOptions::powerRatio;
    const auto forwardPower = &RFSelfTestOptions::forwardPower;
    const Case cases[] = {
        {forwardPower, {all(210), all(255)}, "forward power"},
        {forwardPower, {all(0), all(180)}, "at port A is outside 0 to 180, and 63 more."},
        {powerRatio, {all(176), all(255)}, "at port A is outside 176 to 255, and 63 more."},
        {powerRatio, {all(0), all(124)}, "power ratio"},
    };
    becomeReady();
    for (const Case& testCase : cases) {
        SCOPED_TRACE(testCase.error);
        RFSelfTestOptions with = options();
        with.*testCase.limits = testCase.changed;
        EXPECT_EQ(perform(run(with)).value, "complete") << "the command has done what it was asked for";
        EXPECT_EQ(lastSelfTest_.result->powerRatioPassed, testCase.limits == forwardPower);
        EXPECT_EQ(lastSelfTest_.result->forwardPowerPassed, testCase.limits == powerRatio);
        EXPECT_THAT(lastSelfTest_.error, HasSubstr(testCase.error));
    }
    EXPECT_THAT(statistics(), HasSubstr(R"("SelfTestsFailed":4)"));
}

TEST_F(SelfTestTest, BothEndsOfALimitAreWithinIt) {
    becomeReady();
    perform(run());
    const ChannelValues portA = lastSelfTest_.result->portA.forwardPower;
    const ChannelValues portB = lastSelfTest_.result->portB.forwardPower;
    for (const std::int64_t shift : {0, 1, -1}) {
        RFSelfTestOptions with = options();
        for (std::size_t channel = 0; channel < portA.size(); ++channel) {
            const auto [lowest, highest] = std::minmax(portA[channel], portB[channel]);
            with.forwardPower.low[channel] = lowest + shift;
            with.forwardPower.high[channel] = highest + shift;
        }
        perform(run(with));
        EXPECT_EQ(lastSelfTest_.result->forwardPowerPassed, shift == 0) << shift;
    }
}

TEST_F(SelfTestTest, RefusesWhatItCannotRun) {
    becomeReady();
    EXPECT_EQ(codeOf(perform(abort())), "state");
    EXPECT_EQ(codeOf(perform(mode(3))), "ok");
    const Answer answer = perform(run());
    EXPECT_EQ(codeOf(answer), "state");
    EXPECT_THAT(answer.refusal->sentence,
                HasSubstr("in operating mode 3 (offline); it runs in modes 0 (online), 1 (low power) and 2 (factory test)."));
    EXPECT_THAT(events_, ElementsAre("mode 3"));
}

TEST_F(SelfTestTest, IsAbortedByWhatDisturbsIt) {
    struct Case {
        Command command;
        const char* code;
        const char* why;
    };
    const Case cases[] = {
        {abort(), "ok", "aborted on request;"},
        {run(), "busy", nullptr},
        {mode(1), "ok", nullptr},  // it is in that mode already
        {mode(0), "ok", "aborted by a change to operating mode 0 (online);"},
        {reset(ResetType::Soft), "ok", "aborted by a soft reset;"},
        {reset(ResetType::Hard), "ok", "aborted by a hard reset;"},
        {mode(5), "ok", "aborted by a change to operating mode 5 (shutting down);"},
    };
    for (const Case& testCase : cases) {
        SCOPED_TRACE(&testCase - cases);
        becomeReady(endless());
        const auto running = begin(run());
        EXPECT_EQ(codeOf(perform(testCase.command)), testCase.code);
        EXPECT_EQ(running->times, testCase.why == nullptr ? 0 : 1);
        if (testCase.why == nullptr || !running->answer) {
            continue;
        }
        EXPECT_EQ(running->answer->value, "aborted");
        EXPECT_THAT(lastSelfTest_.error, HasSubstr(testCase.why));
        ASSERT_GE(events_.size(), 2U);
        EXPECT_EQ(events_[1], "test 0 aborted") << "before the change that aborted it is told";
    }
    EXPECT_THAT(statistics(), HasSubstr(R"("SelfTestsAborted":5)"));
}

TEST_F(SelfTestTest, AnotherTestCanRunAfterAnAbort) {
    becomeReady(endless());
    begin(run());
    perform(abort());
    const auto second = begin(run());
    EXPECT_EQ(second->times, 0);
    baseband_->stop();
    EXPECT_EQ(second->answer->value, "aborted");
}

}  // namespace
}  // namespace corvane
