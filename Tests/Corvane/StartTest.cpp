#include "Corvane/Peer.h"
#include "support/Daemon.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>

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
    for (const char* name : {"fifo", "log", "link"}) {
        std::filesystem::create_directory(folder / name);
    }
    ASSERT_EQ(mkfifo((folder / "fifo/settings.db").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo((folder / "log/settings.db-wal").c_str(), 0600), 0);
    std::filesystem::create_symlink(folder / "elsewhere.db", folder / "link/settings.db");
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
        {{"--socket", socket, "--state", folder / "fifo"}, 1, "fifo/settings.db is not a regular file; remove it"},
        {{"--socket", socket, "--state", folder / "log"}, 1, "log/settings.db-wal is not a regular file; remove it"},
        {{"--socket", socket, "--state", folder / "link"}, 1, "link/settings.db is not a regular file; remove it"},
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
    const auto few = support::run({"sh", "-c", "ulimit -n 10; exec " + std::string(support::kDaemon)});
    EXPECT_EQ(few.status, 1);
    EXPECT_THAT(few.err, oneSentence("can't serve clients with at most 10 open files"));
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

    daemon.start();
    std::filesystem::remove(daemon.socketPath());
    support::writeFile(daemon.socketPath(), "another's");
    EXPECT_EQ(daemon.stop(SIGTERM).status, 0);
    EXPECT_TRUE(std::filesystem::exists(daemon.socketPath()));
    std::filesystem::remove(daemon.socketPath());
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

std::string replaced(std::string text, const std::string& part, const std::string& by) {
    const std::size_t position = text.find(part);
    return position == std::string::npos ? text : text.replace(position, part.size(), by);
}

/// The file's content after `sql`.
std::string changedBy(const std::string& database, const char* sql) {
    sqlite3* handle = nullptr;
    sqlite3_open(database.c_str(), &handle);
    EXPECT_EQ(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
    sqlite3_close(handle);
    return support::readFile(database);
}

TEST(Start, FindsDamageSaysItAndServes) {
    using Change = std::function<std::string(const std::string& database, std::string content)>;
    const auto sql = [](const char* statement) {
        return [statement](const std::string& database, const std::string&) { return changedBy(database, statement); };
    };
    struct Case {
        Change change;
        const char* said;
        const char* history;  ///< which was 17
    };
    const Case cases[] = {
        {[](auto&, auto) { return "this is no database"; }, "were damaged (file is not a database)", "256"},
        {[](auto&, auto) { return ""; }, "were damaged (the file is empty)", "256"},
        {[](auto&, auto content) { return content.substr(0, 4608); }, "were damaged (database disk image is malformed)", "256"},
        {[](auto&, auto content) { return content.replace(content.size() - 4096, 4096, 4096, '\xA5'); }, "were damaged", "256"},
        {[](auto&, auto content) { return replaced(content, "value BLOB", "valuf BLOB"); }, "its table is not the settings'",
         "256"},
        {[](auto&, auto content) { return content.replace(18, 1, "\x03"); }, "attempt to write a readonly database", "256"},
        {sql("DROP TABLE setting; CREATE TABLE setting(area, name, value)"), "its table is not the settings'", "256"},
        {sql("CREATE TRIGGER t AFTER INSERT ON setting BEGIN DELETE FROM setting; END"), "its table is not the settings'", "256"},
        {sql("PRAGMA user_version=3"), "version number of the settings was damaged (3)", "17"},
        {sql("UPDATE setting SET value = '2049' WHERE name = 'DIAG/History'"), "the stored DIAG History is '2049'", "256"},
        {sql("INSERT INTO setting VALUES('filter', 'FreeSpacePercentage', '101')"), "FreeSpacePercentage is '101'", "17"},
        {sql("INSERT INTO setting VALUES('filter', 'MaxLogLimit', 'many')"), "MaxLogLimit is 'many'", "17"},
    };
    Daemon daemon;
    Peer(daemon.socketPath()).ask(kSet, property("DIAG", "History", "17"));
    daemon.stop(SIGTERM);
    const std::string database = daemon.statePath() + "/settings.db";
    const std::string sound = support::readFile(database);
    for (const Case& row : cases) {
        SCOPED_TRACE(row.said);
        support::writeFile(database, sound);
        const std::string damaged = row.change(database, sound);
        support::writeFile(database, damaged);
        daemon.start();
        EXPECT_TRUE(daemon.process().waitForError(row.said));
        Peer peer(daemon.socketPath());
        EXPECT_EQ(peer.ask(kGet, property("DIAG", "History")), valueReply(row.history));
        EXPECT_EQ(peer.ask("GetTraceFiltersCommand"), R"(0 {"FreeSpacePercentage":1,"MaxLogLimit":20})");
        EXPECT_EQ(peer.ask(kSet, property("DIAG", "History", "18")), "0");
        daemon.stop(SIGTERM);
        if (std::string_view(row.said).find("were damaged") != std::string_view::npos) {
            std::string aside = database + ".damaged-1";
            for (int number = 2; std::filesystem::exists(database + ".damaged-" + std::to_string(number)); ++number) {
                aside = database + ".damaged-" + std::to_string(number);
            }
            EXPECT_TRUE(support::readFile(aside) == damaged);
        }
        daemon.start();
        EXPECT_EQ(daemon.process().error().find("settings"), std::string::npos) << "said again: " << daemon.process().error();
        daemon.stop(SIGTERM);
    }
}

TEST(Start, SaysWhatADamagedLogOfTheSettingsHasLost) {
    Daemon daemon;
    for (const char* value : {"17", "18", "19", "20"}) {
        Peer(daemon.socketPath()).ask(kSet, property("DIAG", "History", value));
    }
    daemon.stop(SIGKILL);
    const std::string log = daemon.statePath() + "/settings.db-wal";
    std::string content = support::readFile(log);
    constexpr std::size_t kFrame = 24 + 4096;
    ASSERT_GT(content.size(), 32 + 4 * kFrame);
    content[32 + (content.size() - 32) / kFrame * kFrame - 2 * kFrame - 1] ^= 1;
    support::writeFile(log, content);
    daemon.start();
    EXPECT_TRUE(daemon.process().waitForError("are damaged and dropped: the last 3 changes are lost"));
    EXPECT_EQ(Peer(daemon.socketPath()).ask(kGet, property("DIAG", "History")), valueReply("17"));
}

/// What the first version wrote, in every area of the store.
TEST(Start, ReadsADatabaseOfVersion1_0_0) {
    Daemon daemon;
    daemon.stop(SIGTERM);
    std::filesystem::copy_file(std::string(RYN_FIXTURES) + "/settings-1.0.0.db", daemon.statePath() + "/settings.db",
                               std::filesystem::copy_options::overwrite_existing);
    daemon.start();
    Peer peer(daemon.socketPath());
    EXPECT_EQ(peer.ask(kGet, property("DIAG", "History")), valueReply("512"));
    EXPECT_EQ(peer.ask(kGet, property("CoreDump", "Enabled")), valueReply("false"));
    EXPECT_EQ(peer.ask("GetTEMSPropertyCommand"), R"(0 {"KeyTEMSMode":"HW"})");
    EXPECT_EQ(peer.ask("GetTraceFiltersCommand"), R"(0 {"FreeSpacePercentage":33})");
    EXPECT_THAT(peer.ask("GetStatisticsCommand"), HasSubstr("kept from 1.0.0"));
    peer.ask("RemoveTraceFilterCommand", support::dictionary({{"KeyTraceFilterName", support::text("FreeSpacePercentage")}}));
    EXPECT_THAT(peer.ask("CollectTraceLogsCommand", support::dictionary({{"KeyTraceLogsReason", support::text("why")}})),
                HasSubstr("KeyTraceLogsFolder"));
    const std::filesystem::path folder = std::filesystem::directory_iterator(daemon.statePath() + "/Snapshots")->path();
    EXPECT_THAT(support::readFile(folder / "baseband.json"), HasSubstr(R"("SerialNumber": 203707990)"));
    EXPECT_THAT(support::readFile(folder / "power-log-npa.txt"), HasSubstr("Dumped at 2026-11-21"));
}

TEST(Start, LeavesADatabaseOfALaterVersionAsItIs) {
    Daemon daemon;
    const std::string database = daemon.statePath() + "/settings.db";
    daemon.stop(SIGTERM);
    sqlite3* later = nullptr;
    ASSERT_EQ(sqlite3_open(database.c_str(), &later), SQLITE_OK);
    sqlite3_exec(later, "PRAGMA user_version=2; CREATE TABLE more(text)", nullptr, nullptr, nullptr);
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
