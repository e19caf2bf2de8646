#include "Corvane/baseband/Bench.h"

#include <gmock/gmock.h>

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kType = ryn::kBasebandDiagnosticsTypeRFSelfTest;
const std::string kComplete = ryn::kBasebandDiagnosticsStatusComplete;
const std::string kAborted = ryn::kBasebandDiagnosticsStatusAborted;

xpc::Object list(std::size_t count, std::int64_t value) {
    auto array = xpc::Object::adopt(xpc_array_create(nullptr, 0));
    for (std::size_t index = 0; index < count; ++index) {
        xpc_array_append_value(array.get(), number(value).get());
    }
    return array;
}

/// The tool's own options, with `value` in place of what stands under `key`; an empty one takes it out.
xpc::Object options(const char* key = nullptr, const xpc::Object& value = {}) {
    auto made = dictionary({{ryn::kKeyRFSelfTestTargetTxPower3G4G, number(200)},
                            {ryn::kKeyRFSelfTestTargetTxPower2G, number(230)},
                            {ryn::kKeyRFSelfTestPowerRatioLimitLowList, list(32, 0)},
                            {ryn::kKeyRFSelfTestPowerRatioLimitHighList, list(32, 255)},
                            {ryn::kKeyRFSelfTestForwardPowerLimitLowList, list(32, 0)},
                            {ryn::kKeyRFSelfTestForwardPowerLimitHighList, list(32, 255)}});
    if (key != nullptr) {
        xpc_dictionary_set_value(made.get(), key, value.get());
    }
    return made;
}

xpc::Object at(const xpc::Object& object, const char* key) {
    return xpc::Object::share(xpc_dictionary_get_value(object.get(), key));
}

std::vector<std::int64_t> values(const xpc::Object& array) {
    std::vector<std::int64_t> read;
    for (std::size_t index = 0; index < xpc_array_get_count(array.get()); ++index) {
        read.push_back(xpc_int64_get_value(xpc_array_get_value(array.get(), index)));
    }
    return read;
}

class SelfTestTest : public Bench {
protected:
    static Command run(const xpc::Object& with = options(), const std::string& type = kType) {
        return [=](Baseband& baseband, Completion done) { baseband.runDiagnostics(type, with, std::move(done)); };
    }
    static Command abort() { return call(&Baseband::abortDiagnostics); }

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
    std::int64_t statistic(const char* key) { return numberAt(perform(call(&Baseband::getStatistics)).reply, key).value_or(-1); }
};

TEST_F(SelfTestTest, CompletesWithEventsInOrderAndMeasurements) {
    becomeReady();
    const Answer answer = perform(run());
    EXPECT_EQ(codeOf(answer), "ok");
    EXPECT_THAT(events_,
                ElementsAre("test 0 goes on", "test 25 goes on", "test 50 goes on", "test 75 goes on", "test 100 " + kComplete));
    EXPECT_EQ(json(answer), xpc::to_string(lastDiagnostics_));

    const auto result = at(answer.reply, ryn::kKeyBasebandDiagnosticsResult);
    EXPECT_EQ(textAt(result, ryn::kKeyRFSelfTestOverallStatus), "Passed");
    const auto forward = values(at(result, ryn::kKeyRFSelfTestForwardPowerMeasurementPortBList));
    const auto reverse = values(at(result, ryn::kKeyRFSelfTestReversePowerMeasurementPortBList));
    const auto ratio = values(at(result, ryn::kKeyRFSelfTestPowerRatioMeasurementPortBList));
    ASSERT_EQ(forward.size(), 32U);
    ASSERT_EQ(values(at(result, ryn::kKeyRFSelfTestRSSIMeasurementPortAList)).size(), 32U);
    for (std::size_t channel = 0; channel < forward.size(); ++channel) {
        EXPECT_NEAR(static_cast<double>(forward[channel]), channel < 24 ? 200 : 230, 10) << channel;
        EXPECT_EQ(forward[channel] - reverse[channel], ratio[channel]) << channel;
    }
    EXPECT_NE(forward, values(at(result, ryn::kKeyRFSelfTestForwardPowerMeasurementPortAList)));
    EXPECT_THAT(snapshot("rf-self-test.json"), HasSubstr("\"" + kComplete + "\""));
    EXPECT_EQ(statistic("SelfTestsPassed"), 1);
}

TEST_F(SelfTestTest, JudgesAgainstTheLimitsThatWereSent) {
    struct Case {
        const char* key;
        std::int64_t limit;
        std::int64_t errorCode;
        const char* powerRatio;
        const char* forwardPower;
        const char* error;
    };
    const Case cases[] = {
        {ryn::kKeyRFSelfTestForwardPowerLimitLowList, 210, 2, "Passed", "Failed", "forward power"},
        {ryn::kKeyRFSelfTestForwardPowerLimitHighList, 180, 2, "Passed", "Failed", "at port A is outside 0 to 180, and 63 more."},
        {ryn::kKeyRFSelfTestPowerRatioLimitLowList, 176, 1, "Failed", "Passed", "at port A is outside 176 to 255, and 63 more."},
        {ryn::kKeyRFSelfTestPowerRatioLimitHighList, 124, 1, "Failed", "Passed", "power ratio"},
    };
    becomeReady();
    for (const Case& testCase : cases) {
        SCOPED_TRACE(testCase.key);
        const Answer answer = perform(run(options(testCase.key, list(32, testCase.limit))));
        EXPECT_EQ(codeOf(answer), "ok") << "the command has done what it was asked for";
        const auto result = at(answer.reply, ryn::kKeyBasebandDiagnosticsResult);
        EXPECT_EQ(textAt(result, ryn::kKeyRFSelfTestOverallStatus), "Failed");
        EXPECT_EQ(textAt(result, ryn::kKeyRFSelfTestPowerRatioStatus), testCase.powerRatio);
        EXPECT_EQ(textAt(result, ryn::kKeyRFSelfTestForwardPowerStatus), testCase.forwardPower);
        EXPECT_EQ(numberAt(answer.reply, ryn::kKeyBasebandDiagnosticsErrorCode), testCase.errorCode);
        EXPECT_THAT(textAt(answer.reply, ryn::kKeyBasebandDiagnosticsErrorString).value_or(""), HasSubstr(testCase.error));
    }
    EXPECT_EQ(statistic("SelfTestsFailed"), 4);
}

TEST_F(SelfTestTest, BothEndsOfALimitAreWithinIt) {
    becomeReady();
    const auto measured = at(perform(run()).reply, ryn::kKeyBasebandDiagnosticsResult);
    const auto portA = values(at(measured, ryn::kKeyRFSelfTestForwardPowerMeasurementPortAList));
    const auto portB = values(at(measured, ryn::kKeyRFSelfTestForwardPowerMeasurementPortBList));
    const auto outcome = [&](std::int64_t shift) {
        auto low = list(0, 0);
        auto high = list(0, 0);
        for (std::size_t channel = 0; channel < portA.size(); ++channel) {
            const auto [lowest, highest] = std::minmax(portA[channel], portB[channel]);
            xpc_array_append_value(low.get(), number(lowest + shift).get());
            xpc_array_append_value(high.get(), number(highest + shift).get());
        }
        auto with = options(ryn::kKeyRFSelfTestForwardPowerLimitLowList, low);
        xpc_dictionary_set_value(with.get(), ryn::kKeyRFSelfTestForwardPowerLimitHighList, high.get());
        return textAt(at(perform(run(with)).reply, ryn::kKeyBasebandDiagnosticsResult), ryn::kKeyRFSelfTestForwardPowerStatus);
    };
    EXPECT_EQ(outcome(0), "Passed");
    EXPECT_EQ(outcome(1), "Failed");
    EXPECT_EQ(outcome(-1), "Failed");
}

TEST_F(SelfTestTest, RefusesWhatItCannotRun) {
    auto withText = list(31, 0);
    xpc_array_append_value(withText.get(), text("0").get());
    struct Case {
        Command command;
        const char* code;
        const char* sentence;
    };
    const Case cases[] = {
        {run(options(), ""), "invalid", "There is no diagnostics test ''; BasebandDiagnosticsTypeRFSelfTest is accepted."},
        {run(number(1)), "invalid", "KeyBasebandDiagnosticsOptions is missing or not a dictionary"},
        {run(options(ryn::kKeyRFSelfTestTargetTxPower2G)), "invalid",
         "KeyRFSelfTestTargetTxPower2G is missing or not an integer; a power from -500 to 330 (in 0.1 dBm) is accepted."},
        {run(options(ryn::kKeyRFSelfTestTargetTxPower3G4G, number(331))), "invalid", "KeyRFSelfTestTargetTxPower3G4G is 331;"},
        {run(options(ryn::kKeyRFSelfTestPowerRatioLimitLowList)), "invalid",
         "KeyRFSelfTestPowerRatioLimitLowList is missing or not a list; a list of 32 integers, one a channel, is accepted."},
        {run(options(ryn::kKeyRFSelfTestPowerRatioLimitHighList, list(33, 0))), "invalid", "has 33 entries;"},
        {run(options(ryn::kKeyRFSelfTestForwardPowerLimitHighList, withText)), "invalid",
         "has an entry 31 that is not an integer;"},
        {run(options(ryn::kKeyRFSelfTestForwardPowerLimitLowList, list(32, 256))), "invalid",
         "KeyRFSelfTestForwardPowerLimitLowList is 256 for channel 0, above the 255 of KeyRFSelfTestForwardPowerLimitHighList"},
        {abort(), "state", "No diagnostics test is running"},
        {mode(3), "ok", ""},
        {run(), "state", "in operating mode 3 (offline); it runs in modes 0 (online), 1 (low power) and 2 (factory test)."},
    };
    becomeReady();
    for (const Case& testCase : cases) {
        SCOPED_TRACE(testCase.sentence);
        const Answer answer = perform(testCase.command);
        EXPECT_EQ(codeOf(answer), testCase.code);
        EXPECT_THAT(answer.refusal ? answer.refusal->sentence : "", HasSubstr(testCase.sentence));
    }
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
        EXPECT_EQ(codeOf(*running->answer), "aborted");
        EXPECT_THAT(running->answer->refusal->sentence, HasSubstr(testCase.why));
        EXPECT_EQ(textAt(running->answer->reply, ryn::kKeyBasebandDiagnosticsStatus), kAborted);
        ASSERT_GE(events_.size(), 2U);
        EXPECT_EQ(events_[1], "test 0 " + kAborted) << "before the change that aborted it is told";
    }
    EXPECT_EQ(statistic("SelfTestsAborted"), 5);
    EXPECT_THAT(snapshot("rf-self-test.json"), HasSubstr("operating mode 5"));
}

TEST_F(SelfTestTest, AbortAnswersWithTheStatusAndAnotherTestCanRun) {
    becomeReady();
    begin(run());
    EXPECT_EQ(json(perform(abort())), R"({"KeyBasebandDiagnosticsStatus":")" + kAborted + "\"}");
    const auto second = begin(run());
    EXPECT_EQ(second->times, 0);
    baseband_->stop();
    EXPECT_EQ(codeOf(*second->answer), "aborted");
}

}  // namespace
}  // namespace corvane
