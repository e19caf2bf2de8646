#include "Corvane/Peer.h"
#include "support/Daemon.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>

namespace {

namespace fs = std::filesystem;

using support::Arguments;
using testing::AllOf;
using testing::HasSubstr;

constexpr const char* kSet = "SetTracePropertyCommand";
constexpr const char* kGet = "GetTracePropertyCommand";

class TraceKindsTest : public testing::Test {
protected:
    static void SetUpTestSuite() { support::becomePellcore(); }

    support::Outcome tool(const std::string& line) const {
        std::istringstream words(line);
        return daemon_.tool(Arguments(std::istream_iterator<std::string>(words), {}));
    }
    std::string ask(const std::string& command, const xpc::Object& argument) const {
        return Peer(daemon_.socketPath()).ask(command, argument);
    }
    fs::path scratch(const std::string& file) const { return fs::path(daemon_.statePath()) / "Scratch" / file; }

    support::Daemon daemon_;
};

TEST_F(TraceKindsTest, RecordWhatPassesBetweenManagerAndBaseband) {
    ASSERT_EQ(tool("trace set BasebandIPC Enabled true -- kernelpci enabled true -- baseband state 3 -- diag enabled true -- "
                   "trace set DIAG Use_Threshold false -- baseband reset soft lab -- power simulate 0x10")
                  .status,
              0);
    const std::string exchanges = support::readFile(scratch("BasebandIPC.scratch/00000001.txt"));
    std::size_t at = 0;
    for (const char* next : {"Z command set operating mode: 3 (offline)\n", "Z event operating mode: 3 (offline)\n",
                             "Z command soft reset: [ryntool] lab\n", "Z event boot state: Resetting\n",
                             "Z event boot state: Ready\n", "Z command power notification: about to sleep\n"}) {
        at = exchanges.find(next, at);
        ASSERT_NE(at, std::string::npos) << next << " is not in order in\n" << exchanges;
    }
    EXPECT_THAT(support::readFile(scratch("KernelPCI.scratch/00000001.txt")),
                AllOf(HasSubstr("Z tx ring 0 descriptor 0 at 0x1000: 41 bytes\n"),
                      HasSubstr("Z rx ring 1 descriptor 0 at 0x2000: "), HasSubstr("Z rx ring 2 descriptor 1 at 0x3010: ")));
    // Off, nothing more is recorded.
    const auto size = fs::file_size(scratch("BasebandIPC.scratch/00000001.txt"));
    ASSERT_EQ(tool("trace set BasebandIPC Enabled false -- baseband state 3").status, 0);
    EXPECT_EQ(fs::file_size(scratch("BasebandIPC.scratch/00000001.txt")), size);
}

TEST_F(TraceKindsTest, RecordAMeasurementASecond) {
    ASSERT_EQ(tool("baseband state 0 -- tems mode HW").status, 0);
    const std::string header = "UTC time,technology,operator,cell,RSRP dBm,RSRQ dB,SNR dB\n";
    std::string recorded;
    const auto deadline = std::chrono::steady_clock::now() + support::kPatience;
    while (std::ranges::count(recorded, '\n') < 3 && std::chrono::steady_clock::now() < deadline) {
        recorded = support::readFile(scratch("TEMS.scratch/00000001.csv"));
    }
    EXPECT_THAT(recorded.substr(0, header.size()), header);
    EXPECT_THAT(recorded.substr(header.size()),
                testing::MatchesRegex("([0-9TZ:.-]+Z,LTE,001 01,[0-9]+,-[0-9]+,-[0-9]+,[0-9]+\n){2,}"));
}

/// Nothing is accepted without effect.
TEST_F(TraceKindsTest, RefuseWhatCannotBeRecorded) {
    const struct {
        const char* trace;
        const char* refused;
    } rows[] = {
        {"CoreDump", "Trace CoreDump can't be recorded: this baseband leaves no core dumps."},
        {"IPCTrace", "Trace IPCTrace can't be recorded: this baseband has nothing to tell beyond the trace BasebandIPC."},
        {"SYSLOG", "Trace SYSLOG can't be recorded: this baseband has no part in the system's log; journalctl(1) shows that."},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(ask(kSet, property(row.trace, "Enabled", "true")), AllOf(HasSubstr("0xE020E102"), HasSubstr(row.refused)));
        EXPECT_EQ(ask(kGet, property(row.trace, "Enabled")), valueReply("false"));
        EXPECT_EQ(ask(kSet, property(row.trace, "Enabled", "false")), "0");
    }
}

}  // namespace
