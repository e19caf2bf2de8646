#include "Conversation.h"
#include "support/Process.h"
#include "support/Pty.h"
#include "support/ScriptedManager.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>

namespace {

using support::dictionary;
using support::number;
using support::text;
using Connection = support::ScriptedManager::Connection;
using Request = support::ScriptedManager::Request;

const std::string kRootPrompt = "(/ryntool)>> ";

/// A manager that gives back the value that was set last, and the environment that leads the tool to it.
class SessionTest : public testing::Test {
protected:
    SessionTest() { support::becomePellcore(); }

    void answer(Connection& connection, const Request& request) {
        const std::lock_guard lock(mutex_);
        const auto set = xpc_dictionary_get_value(request.value.get(), "KeyTracePropertyValue");
        if (set != nullptr) {
            value_ = xpc_string_get_string_ptr(set);
        }
        connection.reply(request.id, 0, dictionary({{"KeyTracePropertyValue", text(value_)}}));
    }
    std::string exchangeValue(const std::string& value) {
        const std::lock_guard lock(mutex_);
        return std::exchange(value_, value);
    }

    support::TempFolder folder_;
    std::mutex mutex_;
    std::string value_ = "first";
    support::ScriptedManager manager_{folder_ / "manager.sock",
                                      [this](Connection& connection, const Request& request) { answer(connection, request); }};
    support::Environment environment_{{"CORVANE_SOCKET", manager_.path()}};
};

TEST_F(SessionTest, AtATerminal) {
    support::Pty terminal({support::kTool}, environment_);
    const auto enter = [&](const std::string& line, const std::string& shown) {
        terminal.type(line + "\n");
        EXPECT_TRUE(terminal.expect(line + "\n" + shown)) << line;
    };
    ASSERT_TRUE(terminal.expect(kRootPrompt));
    enter("cd trace/filter", "(/ryntool/trace/filter)>> ");
    enter("back", "(/ryntool/trace)>> ");
    enter("help", kTraceHelp + "(/ryntool/trace)>> ");
    enter("cd ..", kRootPrompt);
    enter("coredump enabled no -- coredump status", "Enabled: no\nEnabled: no\n" + kRootPrompt);
    enter("trace filter", kFilterHelp + kRootPrompt);
    enter("coredump status -- coredump status", "Enabled: no\n" + kRootPrompt);
    terminal.type("exit\n");
    EXPECT_EQ(terminal.finish().status, 0);
}

TEST_F(SessionTest, EndOfInput) {
    EXPECT_EQ(support::run({support::kTool}, environment_).out, kRootPrompt);
    EXPECT_EQ(support::run({support::kTool}, environment_).status, 1);
    EXPECT_EQ(support::run({support::kTool}, environment_, "coredump status").out,
              kRootPrompt + "Enabled: first\n" + kRootPrompt);
    support::Pty terminal({support::kTool}, environment_);
    ASSERT_TRUE(terminal.expect(kRootPrompt));
    terminal.type("\x04");
    EXPECT_EQ(terminal.finish().status, 1);
}

TEST_F(SessionTest, TypedAndPipedPrintTheSame) {
    const std::array<std::string, 8> lines = {
        "coredump enabled", "baseband state 1",      "power simulate ff", "bogus",
        "diag history 1 2", "trace get x y -- info", "rfs erase",         "baseband diagnostics run rftest",
    };
    support::Pty terminal({support::kTool}, environment_, false);
    std::string input;
    ASSERT_TRUE(terminal.expect(kRootPrompt));
    for (std::size_t count = 0; count < 200; ++count) {
        const std::string line = lines.at(count % lines.size()) + "\n";
        input += line;
        terminal.type(line);
        ASSERT_TRUE(terminal.expect(kRootPrompt)) << count << line;
    }
    terminal.type("quit\n");
    const support::Outcome typed = terminal.finish();
    exchangeValue("first");
    const support::Outcome piped = support::run({"sh", "-c", "exec \"$0\" 2>&1", support::kTool}, environment_, input + "quit\n");
    EXPECT_EQ(typed.out, piped.out);
    EXPECT_EQ(typed.status, 0);
    EXPECT_EQ(piped.status, 0);
}

TEST_F(SessionTest, BlanksStayWithinAWordOfTheArguments) {
    const support::Outcome outcome = support::run({support::kTool, "trace", "filter", "add", "maxlog", " 5"}, environment_);
    EXPECT_EQ(outcome.out, "Max-log limit filter:  5\n");
    EXPECT_THAT(manager_.requests(),
                testing::ElementsAre(R"(AddTraceFilterCommand {"KeyTraceFilterName":"MaxLogLimit","KeyTraceFilterValue":5})"));
}

TEST_F(SessionTest, WatchShowsChangesUntilInterrupted) {
    const std::string mode = "BasebandOperatingModeChangeNotification";
    const std::string boot = "BasebandBootStateChangeNotification";
    support::Process tool({support::kTool, "baseband", "state", "watch"}, environment_);
    ASSERT_TRUE(manager_.waitForPacket("events on"));
    manager_.broadcast(mode, dictionary({{"KeyBasebandOperatingMode", number(1)}}));
    manager_.broadcast(mode, dictionary({{"KeyBasebandOperatingMode", number(-1)}}));
    manager_.broadcast(mode, dictionary({}));
    manager_.broadcast(mode);
    manager_.broadcast(boot, dictionary({{"KeyBasebandBootState", text("Booting")}}));
    manager_.broadcast(boot, text("no dictionary"));
    EXPECT_TRUE(tool.waitForOutput("Operating mode: 1\nBoot state: Booting\nBoot state: Unknown\n"));
    manager_.dropAll();
    ASSERT_TRUE(manager_.waitForPacket("events on", 2));
    manager_.broadcast(boot, dictionary({{"KeyBasebandBootState", text("Ready")}}));
    EXPECT_TRUE(tool.waitForOutput("Boot state: Ready\n"));
    tool.signal(SIGINT);
    const support::Outcome outcome = tool.finish();
    EXPECT_EQ(outcome.out, "Operating mode: 1\nBoot state: Booting\nBoot state: Unknown\nBoot state: Ready\n");
    EXPECT_EQ(outcome.status, 128 + SIGINT);
}

}  // namespace
