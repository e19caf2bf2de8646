#include "support/Process.h"
#include "support/ScriptedManager.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using Connection = support::ScriptedManager::Connection;
using Request = support::ScriptedManager::Request;

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

struct Fault {
    const char* name;
    support::ScriptedManager::Responder responder;  ///< empty: no manager
    int result;
};

void drop(Connection& connection, const Request&) {
    connection.drop();
}
void refuse(Connection& connection, const Request& request) {
    connection.reply(request.id, -7, support::dictionary({{"KeyErrorCode", support::number(-7)}}));
}
void accept(Connection& connection, const Request& request) {
    connection.reply(request.id, 0);
}

const Fault kFaults[] = {
    {"absent", nullptr, static_cast<int>(0xE020E010)},
    {"dead in the middle", drop, static_cast<int>(0xE020E011)},
    {"refusing", refuse, -7},
};

/// Every fault meets commands of each kind in one session of the tool, which goes on and works once the manager does.
TEST(FaultTest, CommandsFailAndThePromptComesBack) {
    support::becomePellcore();
    const support::TempFolder folder;
    const std::string socket = folder / "manager.sock";
    support::writeFile(socket, "a stale file");
    support::Process tool({support::kTool}, {{"CORVANE_SOCKET", socket}});
    std::string out;
    std::string err;
    const auto enter = [&](const std::string& line, const std::string& printed, const std::string& error) {
        out += "(/ryntool)>> " + printed;
        tool.write(line + "\n");
        EXPECT_TRUE(tool.waitForOutput(out + "(/ryntool)>> ")) << line << tool.output() << tool.error();
        EXPECT_TRUE(tool.waitForError(error)) << line << tool.error();
    };
    for (const Fault& fault : kFaults) {
        SCOPED_TRACE(fault.name);
        const auto manager = fault.responder ? std::make_unique<support::ScriptedManager>(socket, fault.responder) : nullptr;
        enter("baseband reset soft", "Soft reset baseband: Failed\n", "{\"KeyErrorCode\":" + std::to_string(fault.result));
        enter("baseband state 0", "Failed\n", "");
        enter("trace dump", "Dump: Failed\n", "");
        enter("trace get DIAG History", "Getting DIAG History failed\n", "");
    }
    const support::ScriptedManager manager(socket, accept);
    enter("baseband reset hard", "Hard reset baseband: Success\n", "");
    enter("baseband state 0", "Success\n", "");
    tool.write("quit\n");
    EXPECT_EQ(tool.finish().status, 0);
}

}  // namespace
