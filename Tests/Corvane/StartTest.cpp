#include "Corvane/Peer.h"
#include "support/Daemon.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>

namespace {

using support::Daemon;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kGet = "GetTracePropertyCommand";
constexpr const char* kSet = "SetTracePropertyCommand";

/// One sentence on standard error and nothing else.
auto oneSentence(const std::string& text) {
    return testing::AllOf(StartsWith("Corvane: "), HasSubstr(text),
                          testing::ResultOf([](const std::string& lines) { return std::ranges::count(lines, '\n'); }, 1));
}

TEST(Start, SaysWhatIsWrongAndWithWhichStatus) {
    struct Case {
        support::Arguments options;
        int status;
        const char* sentence;
    };
    const support::TempFolder folder;
    support::writeFile(folder / "file", "not a socket");
    const std::string socket = folder / "m.sock";
    const std::string state = folder / "state";
    const Case cases[] = {
        {{"--bogus"}, 2, "there is no option '--bogus'"},
        {{"--socket"}, 2, "--socket takes a value"},
        {{"--socket="}, 2, "not empty"},
        {{"--verbose=1"}, 2, "--verbose takes no value"},
        {{"--backend", "real"}, 2, "there are simulated and modemmanager"},
        {{"--modem", "0"}, 2, "--modem goes with --backend modemmanager"},
        {{"--fault", "Info=0"}, 2, "RESULT that is not 0"},
        {{"--fault", "Info=0x1FFFFFFFF"}, 2, "is no fault rule"},
        {{"--socket", "/tmp/" + std::string(120, 'x'), "--state", state}, 1, "too long: at most 107"},
        {{"--socket", folder / "file", "--state", state}, 1, "exists and is not a socket"},
        {{"--socket", folder / "file/m.sock", "--state", state}, 1, "m.sock.lock: Not a directory"},
        {{"--socket", "/proc/nowhere/m.sock", "--state", state}, 1, "can't make the folder"},
        {{"--socket", socket, "--state", "/proc/nowhere"}, 1, "can't make the state folder /proc/nowhere"},
        {{"--socket", socket, "--state", folder / "file"}, 1, "can't make the state folder"},
        {{"--socket", socket, "--state", "/proc/self"}, 1, "can't open the settings in /proc/self/settings.db"},
    };
    for (const Case& row : cases) {
        support::Arguments arguments{support::kDaemon};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        const auto outcome = support::run(arguments, {{"XDG_CONFIG_HOME", folder / "config"}});
        EXPECT_EQ(outcome.status, row.status) << row.sentence;
        EXPECT_THAT(outcome.err, oneSentence(row.sentence));
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_EQ(support::readFile(folder / "file"), "not a socket");
    EXPECT_THAT(support::run({support::kDaemon, "--version"}).out, StartsWith("Corvane "));
    EXPECT_THAT(support::run({support::kDaemon, "--help"}).out, StartsWith("Usage: Corvane"));
}

TEST(Start, IsRefusedToASecondManagerAndTheFirstGoesOn) {
    Daemon daemon;
    const auto sameSocket =
        support::run({support::kDaemon, "--socket", daemon.socketPath(), "--state", daemon.folder() / "other"});
    EXPECT_EQ(sameSocket.status, 1);
    EXPECT_THAT(sameSocket.err, oneSentence("another manager listens on"));
    const auto sameState =
        support::run({support::kDaemon, "--socket", daemon.folder() / "other.sock", "--state", daemon.statePath()});
    EXPECT_EQ(sameState.status, 1);
    EXPECT_THAT(sameState.err, oneSentence("another manager uses them"));
    EXPECT_THAT(Peer(daemon.socketPath()).ask("GetCorvaneInfoCommand"), StartsWith("0 "));

    // What was killed leaves its socket, which the next one replaces; what was stopped leaves none.
    daemon.stop(SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(daemon.socketPath()));
    daemon.start();
    EXPECT_THAT(Peer(daemon.socketPath()).ask("GetCorvaneInfoCommand"), StartsWith("0 "));
    EXPECT_EQ(daemon.stop(SIGTERM).status, 0);
    EXPECT_FALSE(std::filesystem::exists(daemon.socketPath()));
}

TEST(Start, LogsWhatTheOptionsAskFor) {
    const struct {
        const char* option;
        const char* line;
    } cases[] = {
        {"--verbose", "listening on "},
        {"--trace-requests", "peer #1001 > GetTEMSPropertyCommand null\nCorvane: peer #1001 < 0 {\"KeyTEMSMode\":\"OFF\"}\n"},
    };
    for (const auto& [option, line] : cases) {
        for (const bool asked : {true, false}) {
            Daemon daemon(asked ? support::Arguments{option} : support::Arguments{});
            EXPECT_THAT(Peer(daemon.socketPath()).ask("GetTEMSPropertyCommand"), StartsWith("0 "));
            EXPECT_EQ(daemon.stop(SIGTERM).err.find(line) != std::string::npos, asked) << option;
        }
    }
}

TEST(Start, SetsADamagedDatabaseAsideAndKeepsIt) {
    Daemon daemon;
    const std::string database = daemon.statePath() + "/settings.db";
    for (const std::string number : {"1", "2"}) {
        Peer(daemon.socketPath()).ask(kSet, property("DIAG", "History", "17"));
        daemon.stop(SIGTERM);
        std::string content = support::readFile(database);
        // The first time no database at all, then one with a damaged page.
        content = number == "1" ? "this is no database" : content.replace(content.size() - 4096, 4096, 4096, '\xA5');
        support::writeFile(database, content);
        daemon.start();
        EXPECT_TRUE(daemon.process().waitForError("were damaged"));
        EXPECT_EQ(Peer(daemon.socketPath()).ask(kGet, property("DIAG", "History")), valueReply("256"));
        std::string aside = database;
        aside += ".damaged-" + number;
        EXPECT_TRUE(support::readFile(aside) == content);
    }
}

TEST(Start, LeavesADatabaseOfALaterVersionAsItIs) {
    Daemon daemon;
    const std::string database = daemon.statePath() + "/settings.db";
    daemon.stop(SIGTERM);
    sqlite3* later = nullptr;
    ASSERT_EQ(sqlite3_open(database.c_str(), &later), SQLITE_OK);
    sqlite3_exec(later, "PRAGMA user_version=2", nullptr, nullptr, nullptr);
    sqlite3_close(later);
    const std::string before = support::readFile(database);
    const auto outcome = support::run({support::kDaemon, "--socket", daemon.socketPath(), "--state", daemon.statePath()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, oneSentence("are of version 2, this manager knows versions up to 1"));
    EXPECT_EQ(support::readFile(database), before);
    EXPECT_FALSE(std::filesystem::exists(database + "-wal"));
}

/// As systemd starts a service with a socket (sd_listen_fds(3)).
TEST(Start, TakesOverASocketThatIsHandedToIt) {
    const support::TempFolder folder;
    const std::string path = folder / "handed.sock";
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 16), 0);
    // The client comes before the manager does.
    Peer peer(path);
    const pid_t manager = fork();
    if (manager == 0) {
        constexpr int kFirstHanded = 3;
        dup2(listener, kFirstHanded);
        fcntl(kFirstHanded, F_SETFD, 0);
        support::Program({support::kDaemon, "--socket", folder / "unused.sock", "--state", folder / "state"},
                         {{"LISTEN_FDS", "1"}, {"LISTEN_PID", std::to_string(getpid())}, {"XDG_CONFIG_HOME", folder / "config"}})
            .become();
    }
    close(listener);
    EXPECT_THAT(peer.ask("GetCorvaneInfoCommand"), StartsWith("0 "));
    EXPECT_FALSE(std::filesystem::exists(folder / "unused.sock"));
    kill(manager, SIGTERM);
    int status = 0;
    waitpid(manager, &status, 0);
    EXPECT_EQ(support::exitStatus(status), 0);
    EXPECT_TRUE(std::filesystem::exists(path));
}

}  // namespace
