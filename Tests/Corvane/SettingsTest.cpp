#include "Corvane/Peer.h"
#include "support/Daemon.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

namespace {

using support::Daemon;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kGet = "GetTracePropertyCommand";
constexpr const char* kSet = "SetTracePropertyCommand";

/// Refused with `code`, in a sentence that says `what`.
auto refused(const std::string& code, const std::string& what) {
    return AllOf(StartsWith(code + " {"), HasSubstr("KeyErrorString"), HasSubstr(what));
}

const std::string kInvalid = "0xE020E101";
const std::string kNotSupported = "0xE020E102";

TEST(Settings, AreTypedRangedAndKeptOverAKill) {
    struct Case {
        const char* trace;
        const char* name;
        const char* byDefault;
        const char* written;
        const char* read;
    };
    const Case cases[] = {
        {"DIAG", "Enabled", "false", "true", "true"},
        {"diag", "History", "256", "2048", "2048"},
        {"DIAG", "Mode", "Active on AP", "passive ON ap", "Passive on AP"},
        {"DIAG", "Enabled_During_Sleep", "Off", "lite", "Lite"},
        {"DIAG", "Stall_Detection_Recovery", "None", "1", "Reset Baseband"},
        {"DIAG", "File_Sleep", "Sleep", "\xC3\xA4", "\xC3\xA4"},
        {"DIAG", "High_Watermark", "95", "0", "0"},
        {"KernelPCI", "BufferCount", "4", "64", "64"},
        {"RYN", "Enabled", "true", "false", "false"},
        {"RYN", "History", "5", "7", "7"},
        {"TEMS", "Mode", "OFF", "HW", "HW"},
    };
    Daemon daemon;
    std::filesystem::create_directory(daemon.statePath() + "/DMC");
    support::writeFile(daemon.statePath() + "/DMC/\xC3\xA4.json", R"({"groups": []})");
    {
        Peer peer(daemon.socketPath());
        for (const Case& row : cases) {
            EXPECT_EQ(peer.ask(kGet, property(row.trace, row.name)), valueReply(row.byDefault)) << row.name;
            EXPECT_EQ(peer.ask(kSet, property(row.trace, row.name, row.written)), "0") << row.name;
        }
    }
    daemon.stop(SIGKILL);
    daemon.start();
    Peer peer(daemon.socketPath());
    for (const Case& row : cases) {
        EXPECT_EQ(peer.ask(kGet, property(row.trace, row.name)), valueReply(row.read)) << row.name;
    }
    EXPECT_EQ(peer.ask("GetTEMSPropertyCommand"), R"(0 {"KeyTEMSMode":"HW"})");

    const auto erase = support::dictionary({{"KeyBasebandNVDataAction", support::text("Erase")}});
    EXPECT_EQ(peer.ask("BasebandNVDataCommand", erase), "0");
    for (const Case& row : cases) {
        EXPECT_EQ(peer.ask(kGet, property(row.trace, row.name)), valueReply(row.byDefault)) << row.name;
    }
}

TEST(Settings, AreRefusedInASentenceThatSaysWhatWouldBeAccepted) {
    struct Case {
        const char* trace;
        const char* name;
        const char* value;
        const char* sentence;
    };
    const Case cases[] = {
        {"DIAG", "Enabled", "yes", "DIAG Enabled can't be 'yes'; it takes true or false."},
        {"DIAG", "Enabled", "TRUE", "true or false"},
        {"DIAG", "History", "0", "a whole number from 1 to 2048"},
        {"DIAG", "History", "2049", "from 1 to 2048"},
        {"DIAG", "History", "12x", "from 1 to 2048"},
        {"DIAG", "History", "99999999999999999999", "from 1 to 2048"},
        {"DIAG", "Mode", "5", "Active on AP, Active external through dock"},
        {"DIAG", "Enabled_During_Sleep", "half", "Off, Full or Lite"},
        {"DIAG", "File_Extra", "a/b", "plain name"},
        {"DIAG", "File_Extra", "..", "plain name"},
        {"DIAG", "File_Extra", "a\x1B", R"(can't be 'a\\u001b'; it takes the plain name)"},
        {"DIAG", "File_Extra", "a\n", R"('a\\n')"},
        {"DIAG", "File_Extra", "a\x7F", R"('a\\u007f')"},
        {"DIAG", "File_Extra", "a\xC2\x9B", R"('a\\u009b')"},
        {"DIAG", "File_Extra",
         "\xE2\x80\xAE"
         "a",
         R"('\\u202ea')"},
        {"DIAG", "File_Extra", "a\xFF", R"('a\\xff')"},
        {"DIAG", "File", "Tput", "DIAG File can only be read."},
        {"DIAG", "enabled", "true", "has no property 'enabled'; it has Buffering_On_AP_Awake, Enabled,"},
        {"Elsewhere", "Enabled", "true", "There is no trace 'Elsewhere'; supported are BasebandIPC"},
    };
    const Daemon daemon;
    Peer peer(daemon.socketPath());
    for (const Case& row : cases) {
        EXPECT_THAT(peer.ask(kSet, property(row.trace, row.name, row.value)), refused(kInvalid, row.sentence)) << row.value;
    }
    EXPECT_THAT(peer.ask(kSet, property("Mux", "Enabled", "true")), refused(kNotSupported, "Trace Mux is not supported"));
}

TEST(Settings, OfUnsupportedTracesAreRefused) {
    const support::TempFolder folder;
    support::writeFile(folder / "device.json",
                       R"({"build": "customer", "traceAllowed": false, "radio": 5, "coreDumpPersonality": 0})");
    const Daemon daemon({}, {{"SORVEX_DEVICE_FILE", folder / "device.json"}});
    Peer peer(daemon.socketPath());
    for (const char* trace : {"CoreDump", "EURCoreDump", "IPCTrace", "BasebandIPC", "TEMS", "SYSLOG", "KernelPCI"}) {
        EXPECT_THAT(peer.ask(kGet, property(trace, "Enabled")), refused(kNotSupported, "supported are DIAG, RYN"));
    }
    EXPECT_THAT(peer.ask("GetTEMSPropertyCommand"), refused(kNotSupported, "TEMS"));
    EXPECT_EQ(peer.ask(kGet, property("DIAG", "Enabled")), valueReply("false"));
    EXPECT_EQ(peer.ask(kGet, property("RYN", "Enabled")), valueReply("false"));
}

TEST(Settings, OfTheManagersOwnTraceGovernItsScratchLog) {
    const Daemon daemon;
    const std::string log = daemon.statePath() + "/Scratch/Corvane.log";
    Peer peer(daemon.socketPath());
    EXPECT_THAT(support::readFile(log), HasSubstr("ready"));
    EXPECT_EQ(peer.ask(kSet, property("RYN", "Enabled", "false")), "0");
    EXPECT_EQ(peer.ask(kSet, property("DIAG", "History", "17")), "0");
    EXPECT_THAT(support::readFile(log), testing::Not(HasSubstr("DIAG History")));
    EXPECT_EQ(peer.ask(kSet, property("RYN", "KeepScratchLogs", "false")), "0");
    EXPECT_EQ(support::readFile(log), "");
}

}  // namespace
