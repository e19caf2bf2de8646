#include "Corvane/baseband/simulated/diag/DiagPort.h"
#include "support/Test.h"

namespace corvane::simulated {
namespace {

/// The baseband's buffer holds 64 KB: 65 messages of about a kilobyte fill it.
TEST(DiagPort, LetsMessagesOutAsItsSettingsSay) {
    constexpr DiagGroups kAll{DiagGroup::Log};
    enum Action { Send, Sleep, Wake, Drain, Reconfigure };
    struct Step {
        Action action;
        int times;
        std::size_t out;  ///< messages that have come out by then
    };
    struct Case {
        const char* name;
        DiagSettings settings;
        std::vector<Step> steps;
        DiagSettings then{kAll, kAll};  ///< what Reconfigure brings
    };
    const Case cases[] = {
        {"each at once", {kAll, kAll}, {{Send, 3, 3}}},
        {"none is chosen", {{}, kAll}, {{Send, 3, 0}, {Sleep, 1, 0}, {Send, 1, 1}}},
        {"off during sleep", {kAll, {}}, {{Sleep, 1, 0}, {Send, 3, 0}, {Wake, 1, 0}, {Send, 1, 1}}},
        {"watermarks", {kAll, kAll, true, 25, 50}, {{Send, 31, 0}, {Send, 1, 16}, {Send, 15, 16}, {Send, 1, 32}, {Drain, 1, 48}}},
        {"down to nothing", {kAll, kAll, true, 0, 50}, {{Send, 32, 32}}},
        {"a low mark above the high one", {kAll, kAll, true, 90, 50}, {{Send, 33, 1}}},
        {"held until awake", {kAll, kAll, false, 0, 0, true}, {{Send, 1, 1}, {Sleep, 1, 1}, {Send, 5, 1}, {Wake, 1, 6}}},
        {"the newest are held", {kAll, kAll, false, 0, 0, true}, {{Sleep, 1, 0}, {Send, 100, 0}, {Wake, 1, 64}}},
        {"held for a snapshot", {kAll, kAll, false, 0, 0, false, true}, {{Send, 2, 0}, {Reconfigure, 1, 2}}},
        {"still held", {kAll, kAll, true, 0, 50}, {{Send, 2, 0}, {Reconfigure, 1, 0}}, {kAll, kAll, false, 0, 0, false, true}},
        {"still below the mark", {kAll, kAll, true, 0, 50}, {{Send, 2, 0}, {Reconfigure, 1, 0}}, {kAll, kAll, true, 0, 60}},
        {"switched off", {kAll, kAll, true, 0, 50}, {{Send, 2, 0}, {Reconfigure, 1, 2}}, {{}, {}, true, 0, 50}},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        std::size_t out = 0;
        DiagPort port([&](const TraceRecord&) { ++out; });
        port.configure(row.settings);
        for (const Step& step : row.steps) {
            for (int time = 0; time < step.times; ++time) {
                if (step.action == Send && port.wants(DiagGroup::Log)) {
                    port.send({}, std::string(1024, 'x'));
                } else if (step.action == Drain) {
                    port.drain();
                } else if (step.action == Reconfigure) {
                    port.configure(row.then);
                } else if (step.action != Send) {
                    port.setAsleep(step.action == Sleep);
                }
            }
            EXPECT_EQ(out, step.out);
        }
    }
}

}  // namespace
}  // namespace corvane::simulated
