#include "Client/Failure.h"
#include "Client/TestClient.h"
#include "platform/ryn/client.h"
#include "support/Test.h"

namespace {

namespace client = ryn::client;

TEST(Timeout, FollowsTheArgumentAndTheCommand) {
    const auto timeout = [](const xpc::Object& value) { return support::dictionary({{"KeyTimeout", value}}); };
    const struct {
        const char* command;
        xpc::Object argument;
        std::int64_t seconds;
    } kCases[] = {
        {"X", {}, 60},
        {"X", timeout(support::number(1)), 6},
        {"X", timeout(support::number(0)), 60},
        {"X", timeout(support::number(-3)), 60},
        {"X", timeout(support::text("9")), 60},
        {"X", timeout(support::number(INT64_MAX)), 31'536'005},
        {"CollectTraceLogsCommand", {}, 300},
        {"BasebandDiagnosticsCommand", timeout(support::number(0)), 300},
    };
    for (const auto& row : kCases) {
        EXPECT_EQ(client::timeoutOf(row.command, row.argument).count(), row.seconds) << row.command << to_string(row.argument);
    }
}

TEST(SocketPath, FollowsTheEnvironment) {
    const support::TempFolder withSocket;
    const support::TempFolder withoutSocket;
    std::filesystem::create_directory(withSocket / "corvane");
    support::writeFile(withSocket / "corvane/manager.sock", "");
    const std::string system = "/run/corvane/manager.sock";
    const struct {
        std::optional<std::string> chosen;
        std::optional<std::string> runtimeFolder;
        std::string path;
    } kCases[] = {
        {"/chosen", withSocket.path().string(), "/chosen"},
        {std::nullopt, withSocket.path().string(), withSocket / "corvane/manager.sock"},
        {"", withSocket.path().string(), withSocket / "corvane/manager.sock"},
        {std::nullopt, withoutSocket.path().string(), system},
        {std::nullopt, "", system},
    };
    for (const auto& row : kCases) {
        row.chosen ? ::setenv("CORVANE_SOCKET", row.chosen->c_str(), 1) : ::unsetenv("CORVANE_SOCKET");
        row.runtimeFolder ? ::setenv("XDG_RUNTIME_DIR", row.runtimeFolder->c_str(), 1) : ::unsetenv("XDG_RUNTIME_DIR");
        EXPECT_EQ(client::SocketPath().current(), row.path);
    }
}

}  // namespace
