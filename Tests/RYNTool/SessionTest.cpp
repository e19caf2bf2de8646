#include "Conversation.h"
#include "support/Daemon.h"
#include "support/Pty.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using support::Arguments;
using testing::HasSubstr;
using Connection = support::ScriptedManager::Connection;
using Request = support::ScriptedManager::Request;

const std::string kRootPrompt = "(/ryntool)>> ";

TEST(EntryTest, NeedsPellcore) {
    // A process namespace of its own, so that no Pellcore runs in it. Root needs no user namespace for one.
    const auto alone = [](const support::Arguments& words) {
        support::Arguments arguments{"unshare", "--map-root-user", "--mount", "--pid", "--fork", "--mount-proc"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        return support::run(arguments, {{"XDG_RUNTIME_DIR", "/nonexistent"}});
    };
    if (alone({"true"}).status != 0) {
        GTEST_SKIP() << "this machine permits no process namespaces";
    }
    for (const std::string word : {"help", "quit"}) {
        const support::Outcome outcome = alone({support::kTool, word});
        EXPECT_EQ(outcome.out, "Pellcore process is not running. Please run/load Pellcore and try again.\n");
        EXPECT_EQ(outcome.status, 255);
    }
}

TEST(EntryTest, StopsWithoutAWorker) {
    support::becomePellcore();
    // A new thread's stack is as large as this limit: more than the address space holds.
    const support::Outcome outcome = support::run({"prlimit", "--core=0", "--stack=100000000000000:", support::kTool, "help"});
    if (outcome.err.starts_with("FATAL: ThreadSanitizer")) {
        GTEST_SKIP() << "the thread sanitizer does not start where stacks may be this large";
    }
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, testing::EndsWith(": Manager/RYNTool/RYNShell:89: main: Assertion `ret == 0' failed.\n"));
    EXPECT_EQ(outcome.status, 128 + SIGABRT);
}

/// A manager whose every property has the value that was set last.
class SessionTest : public testing::Test {
protected:
    SessionTest() { support::becomePellcore(); }

    void answer(Connection& connection, const Request& request) {
        const auto set = xpc_dictionary_get_value(request.value.get(), "KeyTracePropertyValue");
        value_ = set == nullptr ? value_ : xpc_string_get_string_ptr(set);
        connection.reply(request.id, 0, support::dictionary({{"KeyTracePropertyValue", support::text(value_)}}));
    }
    support::Outcome run(Arguments words, const std::string& redirections, const std::string& input = "") const {
        words.insert(words.begin(), {"sh", "-c", "exec \"$0\" \"$@\" " + redirections, support::kTool});
        return support::run(words, environment_, input);
    }

    support::TempFolder folder_;
    std::string value_ = "no";
    support::ScriptedManager manager_{folder_ / "manager.sock",
                                      [this](Connection& connection, const Request& request) { answer(connection, request); }};
    support::Environment environment_{{"CORVANE_SOCKET", manager_.path()}, {"XDG_CONFIG_HOME", folder_.path()}};
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
    enter("help", help("trace") + "(/ryntool/trace)>> ");
    enter("cd ..", kRootPrompt);
    enter("coredump enabled no -- coredump status", "Enabled: no\nEnabled: no\n" + kRootPrompt);
    enter("trace filter", help("trace filter") + kRootPrompt);
    enter("coredump status -- coredump status", "Enabled: no\n" + kRootPrompt);
    terminal.type("exit\n");
    EXPECT_EQ(terminal.finish().status, 0);
}

TEST_F(SessionTest, SaysOnRequestWhyACommandFailed) {
    const support::Daemon daemon({"--fault", "GetBasebandTimeCommand=7:nodict"});
    const std::string refusal = "CoreDump Enabled can't be 'maybe'; it takes true or false.";
    const std::string failure = "Failed to set 'Enabled' to 'maybe'\n";
    const struct {
        Arguments words;
        const char* debug;
        std::string err;
    } kCases[] = {
        {{"coredump", "enabled", "maybe"}, "", failure},
        {{"coredump", "enabled", "maybe"}, "0", failure},
        {{"coredump", "enabled", "maybe"}, "1", "Reason: " + refusal + "\n" + failure},
        {{"trace", "filter", "remove", "maxlog", "--", "trace", "dump"}, "1", ""},
        {{"trace", "filter", "add", "maxlog", "0", "--", "trace", "dump"},
         "1",
         "Reason: The max-log filter is 0, so that no trace logs are kept; raise or remove it.\n"},
        {{"baseband", "time"}, "1", "Reason: The manager answered with the result 7 and no reason.\n"},
    };
    for (const auto& row : kCases) {
        support::Environment environment = daemon.environment();
        environment["RYNTOOL_DEBUG"] = row.debug;
        Arguments words = row.words;
        words.insert(words.begin(), support::kTool);
        EXPECT_EQ(support::run(words, environment).err, row.err) << words[1];
    }
    const std::string log = support::readFile(daemon.folder() / "corvane/manager.log");
    EXPECT_THAT(log, HasSubstr("Refused ryntool: " + refusal));
    EXPECT_THAT(log, HasSubstr("collected trace logs in " + daemon.statePath() + "/Snapshots/log-bb-"));
}

TEST_F(SessionTest, WatchShowsChangesUntilInterrupted) {
    const std::string mode = "BasebandOperatingModeChangeNotification";
    const std::string boot = "BasebandBootStateChangeNotification";
    support::Process tool({support::kTool, "baseband", "state", "watch", "x"}, environment_);
    ASSERT_TRUE(manager_.waitForPacket("events on"));
    manager_.broadcast(mode, support::dictionary({{"KeyBasebandOperatingMode", support::number(1)}}));
    manager_.broadcast(mode, support::dictionary({{"KeyBasebandOperatingMode", support::number(-1)}}));
    manager_.broadcast(mode, support::dictionary({}));
    manager_.broadcast(mode);
    manager_.broadcast(boot, support::dictionary({{"KeyBasebandBootState", support::text("Booting")}}));
    manager_.broadcast(boot, support::text("no dictionary"));
    EXPECT_TRUE(tool.waitForOutput("Operating mode: 1\nBoot state: Booting\nBoot state: Unknown\n"));
    manager_.dropAll();
    ASSERT_TRUE(manager_.waitForPacket("events on", 2));
    manager_.broadcast(boot, support::dictionary({{"KeyBasebandBootState", support::text("Ready")}}));
    EXPECT_TRUE(tool.waitForOutput("Boot state: Ready\n"));
    tool.signal(SIGINT);
    const support::Outcome outcome = tool.finish();
    EXPECT_EQ(outcome.out, "Operating mode: 1\nBoot state: Booting\nBoot state: Unknown\nBoot state: Ready\n");
    EXPECT_EQ(outcome.status, 128 + SIGINT);
}

TEST_F(SessionTest, NothingTakesThePlaceOfAClosedOne) {
    const std::string socket = folder_ / "Corvane.sock";
    const struct {
        const char* name;
        Arguments program;
        std::function<bool(int count)> waitForStart;
    } kPrograms[] = {
        {"ryntool",
         {support::kTool, "baseband", "state", "watch"},
         [&](int count) { return manager_.waitForPacket("hello ryntool", static_cast<std::size_t>(count)); }},
        {"Pellcore",
         {support::kCellularService},
         [&](int count) { return manager_.waitForPacket("hello Pellcore", static_cast<std::size_t>(count)); }},
        {"Corvane",
         {support::kDaemon, "--socket", socket, "--state", folder_ / "state"},
         [&](int) {
             for (int tries = 0; tries < 6000 && !std::filesystem::exists(socket); ++tries) {
                 std::this_thread::sleep_for(std::chrono::milliseconds(10));
             }
             return std::filesystem::remove(socket);
         }},
    };
    for (const auto& row : kPrograms) {
        for (unsigned closed = 1; closed < 8; ++closed) {
            SCOPED_TRACE(std::string(row.name) + " without " + std::to_string(closed));
            std::string command = "exec \"$0\" \"$@\"";
            std::string expected;
            for (const unsigned stream : {0U, 1U, 2U}) {
                const bool isClosed = (closed >> stream & 1U) != 0;
                command += isClosed ? " " + std::to_string(stream) + ">&-" : "";
                expected += isClosed ? "/dev/null " : "pipe ";
            }
            Arguments words{"sh", "-c", command};
            words.insert(words.end(), row.program.begin(), row.program.end());
            const support::Process process(words, environment_);
            ASSERT_TRUE(row.waitForStart(static_cast<int>(closed)));
            std::string found;
            for (const char* stream : {"0", "1", "2"}) {
                const auto target =
                    std::filesystem::read_symlink("/proc/" + std::to_string(process.pid()) + "/fd/" + stream).string();
                found += target.substr(0, target.find(':')) + " ";
            }
            EXPECT_EQ(found, expected);
        }
    }
}

TEST_F(SessionTest, LostOutputIsAFailureAndCutsNoCommandShort) {
    support::Process watch({"sh", "-c", "exec \"$0\" baseband state watch >/dev/full", support::kTool}, environment_);
    ASSERT_TRUE(manager_.waitForPacket("events on"));
    manager_.broadcast("BasebandBootStateChangeNotification");
    EXPECT_EQ(watch.finish().status, 1);

    const std::string lost = "ryntool: output is lost: No space left on device\n";
    const std::string sync = R"(BasebandSyncFSCommand {"KeyFSSyncWaitForCompletion":true})";
    const struct {
        Arguments words;
        const char* redirections;
        const char* input;
        std::string err;
        std::vector<std::string> commands;
    } kRows[] = {
        {{"info", "--", "baseband", "time"}, ">/dev/full", "", lost, {"GetCorvaneInfoCommand"}},
        {{"rfs", "erase"}, ">/dev/full", "", lost, {"BasebandNVDataCommand", "ResetBasebandCommand"}},
        {{}, ">/dev/full", "baseband time\nquit\n", lost, {"GetBasebandTimeCommand"}},
        {{"coredump", "enabled", "a", "b"}, "2>/dev/full", "", "", {}},
        {{"help"}, ">/dev/full 2>&-", "", "", {}},
    };
    std::vector<std::string> commands;
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::PrintToString(row.words) + row.redirections);
        const auto outcome = run(row.words, row.redirections, row.input);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, row.err);
        commands.insert(commands.end(), row.commands.begin(), row.commands.end());
    }
    std::vector<std::string> asked;
    for (const std::string& request : manager_.requests()) {
        asked.push_back(request.substr(0, request.find(' ')));
    }
    EXPECT_EQ(asked, commands);
}

/// Runs the tool with a packet socket for output, in non-blocking mode and read only when it is full: each packet is one
/// write(2).
TEST_F(SessionTest, EachLineIsOneWriteAndASlowReaderGetsAll) {
    const std::string value(90000, 'x');
    const support::Program program({support::kTool, "coredump", "enabled", value, "--", "kernelpci", "status"}, environment_);
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        program.become();
    }
    for (pollfd full{ends[1], POLLOUT, 0}; poll(&full, 1, 10) == 1;) {
    }
    close(ends[1]);
    std::vector<std::string> writes;
    std::string buffer(2 * value.size(), '\0');
    for (ssize_t length = 0; (length = recv(ends[0], buffer.data(), buffer.size(), 0)) > 0;) {
        writes.emplace_back(buffer, 0, static_cast<std::size_t>(length));
    }
    close(ends[0]);
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(writes ==
                (std::vector<std::string>{"Enabled: " + value + "\n", "Enabled: " + value + "\n", "History: " + value + " MB\n"}))
        << writes.size();
}

TEST_F(SessionTest, OnlyATerminalIsSparedControlCharacters) {
    const std::string bytes =
        "\xff\xc3(\x80\xed\xa0\x80\x1b[m\x7f \xc2\x9b \xe2\x80\xae\xe2\x81\xa6\xd8\x9c\xc3\xa9\xf0\x9f\x98\x80";
    const Arguments words{"coredump", "enabled", bytes, "--", "coredump", "status"};
    EXPECT_EQ(run(words, "").out, "Enabled: " + bytes + "\nEnabled: " + bytes + "\n");
    support::Pty terminal({support::kTool, "coredump", "status"}, environment_);
    EXPECT_EQ(terminal.finish().out,
              "Enabled: \\xff\\xc3(\\x80\\xed\\xa0\\x80\\u001b[m\\u007f \\u009b \\u202e\\u2066\\u061c\xc3\xa9\xf0\x9f\x98\x80\n");
}

TEST_F(SessionTest, AWatchWithoutAManagerSleeps) {
    support::Process tool({support::kTool, "baseband", "state", "watch"}, {{"CORVANE_SOCKET", folder_ / "nobody.sock"}});
    EXPECT_FALSE(tool.waitForOutput("never printed", std::chrono::seconds(1)));
    std::istringstream fields(support::readFile("/proc/" + std::to_string(tool.pid()) + "/stat"));
    long ticks = 0;
    std::string field;
    for (int number = 1; number <= 15 && fields >> field; ++number) {
        ticks += number >= 14 ? std::stol(field) : 0;  // utime and stime, proc(5)
    }
    EXPECT_LT(ticks, sysconf(_SC_CLK_TCK) / 10);
}

}  // namespace
