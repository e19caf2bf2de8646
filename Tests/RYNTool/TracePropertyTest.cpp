#include "commands/TraceProperty.h"
#include "platform/dispatch/Queue.h"
#include "support/ScriptedManager.h"
#include "support/Test.h"

namespace {

TEST(TracePropertyTest, SendsATimeoutAndNothingWithoutAName) {
    support::ScriptedManager manager([](const auto& connection, const auto& request) { connection.reply(request.id, 0); });
    setenv("CORVANE_SOCKET", manager.path().c_str(), 1);
    const dispatch::Queue queue("test.queue");
    const auto client = ryn::client::CreateManager("test", queue.get());
    std::string value;
    EXPECT_EQ(getTraceProperty(client, "DIAG", "Mode", value, 7), 0);
    EXPECT_EQ(setTraceProperty(client, "DIAG", "Mode", "1", 7), 0);
    EXPECT_EQ(getTraceProperty(client, "DIAG", "", value, 0), static_cast<int>(0xE020E002));
    EXPECT_EQ(setTraceProperty(nullptr, "DIAG", "Mode", "1", 0), static_cast<int>(0xE020E002));
    EXPECT_THAT(manager.packets(), ElementsAre("hello 1 test", HasSubstr("\"KeyTimeout\":7"), HasSubstr("\"KeyTimeout\":7")));
}

}  // namespace
