#include "Corvane/Peer.h"
#include "support/Daemon.h"
#include "support/Tshark.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <sstream>

namespace {

namespace fs = std::filesystem;

using support::Arguments;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kSet = "SetTracePropertyCommand";
constexpr const char* kGet = "GetTracePropertyCommand";

/// The real tool and manager, and tshark.
class DiagTraceTest : public testing::Test {
protected:
    static void SetUpTestSuite() { support::becomePellcore(); }

    support::Outcome tool(const std::string& line) const {
        std::istringstream words(line);
        return daemon_.tool(Arguments(std::istream_iterator<std::string>(words), {}));
    }
    std::string ask(const std::string& command, const xpc::Object& argument) const {
        return Peer(daemon_.socketPath()).ask(command, argument);
    }
    std::string status() const { return ask(kGet, property("DIAG", "Status")); }
    /// The newest file of messages of a new snapshot, if there is one.
    fs::path dump() const {
        const std::string reply =
            ask("CollectTraceLogsCommand", support::dictionary({{"KeyTraceLogsReason", support::text("x")}}));
        const std::string key = R"(0 {"KeyTraceLogsFolder":")";
        EXPECT_TRUE(reply.starts_with(key)) << reply;
        fs::path newest;
        std::error_code none;
        for (const auto& file : fs::directory_iterator(reply.substr(key.size(), reply.size() - key.size() - 2) + "/DIAG", none)) {
            newest = std::max(newest, file.path());
        }
        return newest;
    }
    fs::path scratch() const { return daemon_.statePath() + "/Scratch/DIAG.scratch/00000001.pcapng"; }

    support::Daemon daemon_;
};

TEST_F(DiagTraceTest, RecordsWhatTheBasebandAndTheNetworkSay) {
    EXPECT_EQ(status(), valueReply("Idle"));
    ASSERT_EQ(tool("diag enabled true -- baseband reset soft lab -- baseband state 0 -- baseband state 3").status, 0);
    EXPECT_EQ(status(), valueReply("Dumping"));
    const fs::path messages = dump();
    EXPECT_EQ(support::wrongPackets(messages), "");
    const std::string shown = support::tshark(messages, {"_ws.col.Info"}).out;
    std::size_t at = 0;
    for (const char* next :
         {"soft reset: [ryntool] lab", "ready after ", "operating mode 0 (online)", "MasterInformationBlock",
          "SystemInformationBlockType1", "RRCConnectionRequest", "Attach request", "Authentication response", "Attach accept",
          "Attach complete", "RRCConnectionRelease", "operating mode 3 (offline)", "Detach request", "Detach accept"}) {
        at = shown.find(next, at);
        ASSERT_NE(at, std::string::npos) << next << " is not in order in\n" << shown;
    }
    EXPECT_FALSE(fs::exists(scratch())) << "moved into the snapshot";
    EXPECT_EQ(tool("diag enabled false").status, 0);
    EXPECT_EQ(status(), valueReply("Idle"));
}

/// What is typed decides whether a packet that the filter selects is in the dump.
TEST_F(DiagTraceTest, DoesWhatEachPropertySays) {
    const struct {
        const char* typed;
        const char* filter;
        bool expected;
    } rows[] = {
        {"diag mode 1", "gsmtap", false},
        {"diag mode 4", "nas-eps", true},
        {"power simulate 0x10", "nas-eps", false},
        {"diag enabled-on-sleep full -- power simulate 0x10", "lte_rrc", true},
        {"diag enabled-on-sleep lite -- power simulate 0x10", "gsmtap.type == 18", true},
        {"diag enabled-on-sleep lite -- power simulate 0x10", "lte_rrc", false},
        {"diag enabled-on-sleep lite -- diag sleep-dmc mine -- power simulate 0x10", "gsmtap.type == 18", false},
        {"diag enabled-on-sleep lite -- diag sleep-dmc mine -- power simulate 0x10", "lte_rrc", true},
        {"trace set DIAG Enabled_Temp false", "gsmtap", false},
        {"trace set DIAG Mode_Temp 2", "gsmtap", false},
        {"trace set DIAG Use_Threshold false", "nas-eps", true},
    };
    fs::create_directory(daemon_.statePath() + "/DMC");
    support::writeFile(daemon_.statePath() + "/DMC/mine.json", R"({"groups": ["RRC"]})");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.typed);
        ASSERT_EQ(tool("diag enabled false -- power simulate 0x20 -- baseband state 3 -- trace dump").status, 0);
        const support::Outcome outcome = tool("diag enabled-on-sleep off -- diag mode 0 -- diag enabled true -- " +
                                              std::string(row.typed) + " -- baseband state 0");
        ASSERT_EQ(outcome.status, 0) << outcome.out << outcome.err;
        const fs::path messages = dump();
        EXPECT_EQ(fs::exists(messages) && !support::tshark(messages, {"frame.number"}, row.filter).out.empty(), row.expected);
    }
}

TEST_F(DiagTraceTest, RefusesDMCFilesThatItCannotRead) {
    const fs::path folder = daemon_.statePath() + "/DMC";
    fs::create_directory(folder);
    const struct {
        const char* name;
        const char* content;
        const char* refused;
    } rows[] = {
        {"absent", nullptr, "There is no DMC file 'absent'; there are Default, Tput, Sleep, None, broken"},
        {"broken", "{", "broken.json can't be used: it must be an object like"},
        {"other", R"({"groups": [], "more": 1})", "it must be an object like"},
        {"typo", R"({"groups": ["NAS", "RCC"]})", "there is no group \\\"RCC\\\"; there are NAS, RRC, Broadcast"},
        {"number", R"({"groups": [1]})", "there is no group 1;"},
    };
    support::writeFile(folder / "broken.json", "{");
    for (const auto& row : rows) {
        if (row.content != nullptr) {
            support::writeFile(folder / (std::string(row.name) + ".json"), row.content);
        }
        EXPECT_THAT(ask(kSet, property("DIAG", "File_Extra", row.name)), AllOf(HasSubstr("0xE020E101"), HasSubstr(row.refused)));
    }
    EXPECT_EQ(ask(kGet, property("DIAG", "File_Extra")), valueReply("None"));
}

TEST_F(DiagTraceTest, HoldsTemporaryPropertiesUntilTheManagerEnds) {
    EXPECT_EQ(ask(kSet, property("DIAG", "Enabled_Temp", "true")), "0");
    EXPECT_EQ(status(), valueReply("Dumping"));
    EXPECT_EQ(ask(kGet, property("DIAG", "Enabled")), valueReply("false"));
    daemon_.stop(SIGKILL);
    daemon_.start();
    EXPECT_EQ(ask(kGet, property("DIAG", "Enabled_Temp")), valueReply("false"));
    EXPECT_EQ(ask(kSet, property("DIAG", "Enabled", "true")), "0");
    EXPECT_EQ(ask(kGet, property("DIAG", "Enabled_Temp")), valueReply("true"));
    EXPECT_EQ(status(), valueReply("Dumping"));
}

/// A kill keeps what has reached the manager; the segment goes on in another one.
TEST_F(DiagTraceTest, SurvivesKills) {
    ASSERT_EQ(tool("diag enabled true -- trace set DIAG Use_Threshold false -- baseband state 3 -- baseband state 0 -- baseband "
                   "state 3")
                  .status,
              0);
    daemon_.stop(SIGKILL);
    EXPECT_EQ(support::wrongPackets(scratch()), "");
    EXPECT_NE(support::tshark(scratch(), {"frame.number"}, "nas-eps").out, "");
    daemon_.start();
    const fs::path messages = dump();
    EXPECT_EQ(messages.filename(), "00000002.pcapng");
    EXPECT_EQ(support::wrongPackets(messages), "");
}

class Reader {
public:
    explicit Reader(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        connected = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }
    ~Reader() { ::close(socket_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Reads until `text` came, or the end.
    std::string readUntil(const std::string& text) const {
        std::string all;
        std::array<char, 4096> some{};
        for (ssize_t count = 1; count > 0 && all.find(text) == std::string::npos;) {
            count = ::recv(socket_, some.data(), some.size(), 0);
            all.append(some.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        return all;
    }

    bool connected = false;

private:
    int socket_;
};

TEST_F(DiagTraceTest, StreamsMessagesAsTheyHappen) {
    const std::string path = daemon_.folder() / "corvane/diag.sock";
    EXPECT_FALSE(Reader(path).connected);
    ASSERT_EQ(tool("diag mode 3 -- diag enabled true").status, 0);
    EXPECT_EQ(status(), valueReply("Idle"));
    const Reader reader(path);
    ASSERT_TRUE(reader.connected);
    const Reader deaf(path);
    ASSERT_EQ(tool("baseband state 0 -- baseband state 3").status, 0);
    EXPECT_EQ(status(), valueReply("Dumping"));
    const std::string file = daemon_.folder() / "stream.pcapng";
    std::string streamed = reader.readUntil("operating mode 3");
    streamed.resize(streamed.rfind("operating mode 3"));
    support::writeFile(file, streamed);
    EXPECT_THAT(support::tshark(file, {"_ws.col.Info"}).out, AllOf(HasSubstr("Attach request"), HasSubstr("Attach complete")));
    EXPECT_FALSE(fs::exists(scratch()));
    ASSERT_EQ(tool("diag mode 0").status, 0);
    reader.readUntil("to its end");
    EXPECT_FALSE(Reader(path).connected);
}

}  // namespace
