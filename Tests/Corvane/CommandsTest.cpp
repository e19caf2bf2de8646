#include "Corvane/Peer.h"
#include "support/Daemon.h"

#include <gmock/gmock.h>

#include <unistd.h>

#include <csignal>
#include <sstream>

namespace {

using support::Daemon;
using support::dictionary;
using support::number;
using support::text;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

const xpc::Object kNull = xpc::null();

xpc::Object list(std::size_t count, const xpc::Object& value) {
    auto array = xpc::Object::adopt(xpc_array_create(nullptr, 0));
    for (std::size_t index = 0; index < count; ++index) {
        xpc_array_append_value(array.get(), value.get());
    }
    return array;
}

/// The tool's own options of the self-test, with `value` in place of what stands under `key`.
xpc::Object options(const char* key, const xpc::Object& value) {
    auto made = dictionary({{"KeyRFSelfTestTargetTxPower3G4G", number(200)},
                            {"KeyRFSelfTestTargetTxPower2G", number(230)},
                            {"KeyRFSelfTestPowerRatioLimitLowList", list(32, number(0))},
                            {"KeyRFSelfTestPowerRatioLimitHighList", list(32, number(255))},
                            {"KeyRFSelfTestForwardPowerLimitLowList", list(32, number(0))},
                            {"KeyRFSelfTestForwardPowerLimitHighList", list(32, number(255))}});
    xpc_dictionary_set_value(made.get(), key, value.get());
    return made;
}

xpc::Object selfTest(const xpc::Object& with) {
    return dictionary({{"KeyBasebandDiagnosticsAction", text("BasebandDiagnosticsActionRun")},
                       {"KeyBasebandDiagnosticsType", text("BasebandDiagnosticsTypeRFSelfTest")},
                       {"KeyBasebandDiagnosticsOptions", with}});
}

/// The sentence that refuses it shows 64 bytes, which end within a character.
const std::string kCutCommand = std::string(63, 'x') + "\xC3\xA4";

TEST(Commands, ThatCannotBeServedAreRefusedInASentence) {
    struct Case {
        const char* command;
        xpc::Object argument;
        const char* code;
        const char* sentence;
    };
    const Case cases[] = {
        {"MakeCoffeeCommand", kNull, "0xE020E100",
         "There is no command 'MakeCoffeeCommand'; corvane-protocol(7) lists those that there are."},
        {"\x1B[31m", kNull, "0xE020E100", R"('\\u001b[31m';)"},
        {kCutCommand.c_str(), kNull, "0xE020E100", "xxx'; corvane"},
        {"GetTracePropertyCommand", kNull, "0xE020E101", "The argument is null; a dictionary is required."},
        {"GetTracePropertyCommand", dictionary({}), "0xE020E101", "KeyTraceName is missing; it takes a string."},
        {"GetTracePropertyCommand", property(std::string(100000, 'x'), "Enabled"), "0xE020E101",
         "KeyTraceName has 100000 bytes; it takes up to 4096."},
        {"SetTracePropertyCommand", property("DIAG", "Enabled"), "0xE020E101", "KeyTracePropertyValue is missing"},
        {"SetBasebandOperatingModeCommand", dictionary({{"KeyBasebandOperatingMode", number(8)}}), "0xE020E101",
         "There is no operating mode 8; the modes are 0 (online), 1 (low power)"},
        {"SetBasebandOperatingModeCommand", dictionary({{"KeyBasebandOperatingMode", number(std::int64_t{1} << 40)}}),
         "0xE020E101", "There is no operating mode 1099511627776"},
        {"SetBasebandOperatingModeCommand", dictionary({{"KeyBasebandOperatingMode", text("x")}}), "0xE020E101",
         "KeyBasebandOperatingMode is a string; it takes an integer."},
        {"ResetBasebandCommand", dictionary({{"KeyBasebandResetType", text("Warm")}}), "0xE020E101",
         "KeyBasebandResetType can't be 'Warm'; it takes Soft reset or Hard reset."},
        {"BasebandNVDataCommand", dictionary({{"KeyBasebandNVDataAction", text("Read")}}), "0xE020E101", "it takes Erase."},
        {"BasebandSyncFSCommand", dictionary({{"KeyFSSyncWaitForCompletion", number(1)}}), "0xE020E101", "it takes a boolean"},
        {"BasebandDiagnosticsCommand", dictionary({{"KeyBasebandDiagnosticsAction", text("Walk")}}), "0xE020E101",
         "it takes BasebandDiagnosticsActionRun or BasebandDiagnosticsActionAbort."},
        {"BasebandDiagnosticsCommand", dictionary({{"KeyBasebandDiagnosticsAction", text("BasebandDiagnosticsActionRun")}}),
         "0xE020E101", "There is no diagnostics test ''; BasebandDiagnosticsTypeRFSelfTest is accepted."},
        {"BasebandDiagnosticsCommand", selfTest(number(1)), "0xE020E101",
         "KeyBasebandDiagnosticsOptions is missing or not a dictionary"},
        {"BasebandDiagnosticsCommand", selfTest(options("KeyRFSelfTestTargetTxPower2G", kNull)), "0xE020E101",
         "KeyRFSelfTestTargetTxPower2G is null; it takes an integer."},
        {"BasebandDiagnosticsCommand", selfTest(options("KeyRFSelfTestTargetTxPower3G4G", number(331))), "0xE020E101",
         "KeyRFSelfTestTargetTxPower3G4G can't be 331; it takes -500 to 330."},
        {"BasebandDiagnosticsCommand", selfTest(options("KeyRFSelfTestPowerRatioLimitLowList", kNull)), "0xE020E101",
         "KeyRFSelfTestPowerRatioLimitLowList is missing or not a list; a list of 32 integers, one a channel, is accepted."},
        {"BasebandDiagnosticsCommand", selfTest(options("KeyRFSelfTestPowerRatioLimitHighList", list(33, number(0)))),
         "0xE020E101", "has 33 entries;"},
        {"BasebandDiagnosticsCommand", selfTest(options("KeyRFSelfTestForwardPowerLimitHighList", list(32, text("0")))),
         "0xE020E101", "has an entry 0 that is not an integer;"},
        {"BasebandDiagnosticsCommand", selfTest(options("KeyRFSelfTestForwardPowerLimitLowList", list(32, number(256)))),
         "0xE020E101",
         "KeyRFSelfTestForwardPowerLimitLowList is 256 for channel 0, above the 255 of KeyRFSelfTestForwardPowerLimitHighList"},
        {"LogCollectionCommand", dictionary({{"KeyLogCollectionAction", text("Enable")}, {"KeyTracePropertyName", text("X")}}),
         "0xE020E101", "it takes NPA or F3."},
        {"SimulatePowerNotificationCommand", dictionary({{"KeyPowerNotificationMessage", number(-1)}}), "0xE020E101",
         "it takes 0 to 4294967295"},
        {"SetTEMSPropertyCommand", dictionary({{"KeyTEMSMode", text("SW")}}), "0xE020E101", "it takes OFF or HW"},
        {"GetStatisticsCommand", dictionary({{"KeyReportingModuleType", number(3)}}), "0xE020E101", "it takes 0 to 2"},
        {"ReportingStatisticsCommand", dictionary({{"KeyReportingModuleType", number(1)}, {"KeyReportingData", dictionary({})}}),
         "0xE020E101", "module 1 itself"},
        {"CollectTraceLogsCommand", dictionary({}), "0xE020E101", "KeyTraceLogsReason is missing"},
        {"AddTraceFilterCommand", dictionary({{"KeyTraceFilterName", text("Size")}, {"KeyTraceFilterValue", number(1)}}),
         "0xE020E101", "there are FreeSpacePercentage and MaxLogLimit."},
        {"AddTraceFilterCommand",
         dictionary({{"KeyTraceFilterName", text("FreeSpacePercentage")}, {"KeyTraceFilterValue", number(101)}}), "0xE020E101",
         "it takes 0 to 100, or null"},
        {"RemoveTraceFilterCommand", dictionary({{"KeyTraceFilterName", text("")}}), "0xE020E101", "There is no trace filter ''"},
    };
    const Daemon daemon;
    Peer peer(daemon.socketPath());
    for (const Case& row : cases) {
        const std::string answer = peer.ask(row.command, row.argument);
        EXPECT_THAT(answer, AllOf(StartsWith(row.code), HasSubstr("KeyErrorCode"), HasSubstr(row.sentence))) << row.command;
    }
    const std::string figures = peer.ask("GetStatisticsCommand", dictionary({{"KeyReportingModuleType", number(1)}}));
    EXPECT_THAT(figures, AllOf(HasSubstr(R"("Refused":)" + std::to_string(std::size(cases))), HasSubstr(R"("Unknown":3)"),
                               HasSubstr(R"("GetTracePropertyCommand":3)"), testing::Not(HasSubstr("Boot"))));
}

TEST(Commands, FailAsTheFaultRulesSay) {
    const Daemon daemon({"--fault", "A=0xE020E0FF", "--fault", "B=-7:nodict", "--fault", "C=drop", "--fault", "D=malformed",
                         "--fault=GetTraceFiltersCommand=hang"});
    Peer peer(daemon.socketPath());
    EXPECT_THAT(peer.ask("A"), AllOf(StartsWith("0xE020E0FF {"), HasSubstr(R"("KeyErrorCode":-534716161)")));
    EXPECT_EQ(peer.ask("B"), "0xFFFFFFF9");
    EXPECT_EQ(peer.ask("D"), "malformed");
    peer.send(ryn::wire::Packet(ryn::wire::Request{1, "GetTraceFiltersCommand", kNull}));
    EXPECT_EQ(peer.ask("GetTEMSPropertyCommand"), R"(0 {"KeyTEMSMode":"OFF"})");
    EXPECT_EQ(peer.ask("C"), "closed");
}

TEST(Commands, OfStatisticsTellWhatHappenedAndKeepWhatWasReported) {
    Daemon daemon;
    const auto report = [](const xpc::Object& data) {
        return dictionary({{"KeyReportingModuleType", number(0)}, {"KeyReportingData", data}});
    };
    {
        Peer peer(daemon.socketPath());
        EXPECT_EQ(peer.ask("ReportingStatisticsCommand", report(dictionary({{"KeyBootModuleLastRecoveryTime", number(100)}}))),
                  "0");
        EXPECT_EQ(peer.ask("ReportingStatisticsCommand", report(dictionary({{"KeyBootModuleLastHardResetTime", number(7)}}))),
                  "0");
        const auto hardReset =
            dictionary({{"KeyBasebandResetType", text("Hard reset")}, {"KeyBasebandResetReason", text("\xC2\x9B")}});
        EXPECT_EQ(peer.ask("ResetBasebandCommand", hardReset), "0");
        EXPECT_THAT(peer.ask("GetStatisticsCommand"), AllOf(HasSubstr(R"("HardResets":1)"), HasSubstr(R"("Connected":1)"),
                                                            HasSubstr(R"("LastHardResetReason":"\\u009b")")));
    }
    daemon.stop(SIGKILL);
    daemon.start();
    EXPECT_THAT(Peer(daemon.socketPath()).ask("GetStatisticsCommand", dictionary({{"KeyReportingModuleType", number(0)}})),
                AllOf(StartsWith(R"(0 {"Boot":{)"), HasSubstr(R"("KeyBootModuleLastHardResetTime":7)"),
                      HasSubstr(R"("KeyBootModuleLastRecoveryTime":100)"), testing::Not(HasSubstr("Clients"))));
}

TEST(Commands, ThatChangeSomethingAreOnRecordWithTheirClient) {
    const struct {
        const char* command;
        xpc::Object argument;
        const char* result;  ///< nullptr: it only reads
        bool leaves = false;
    } cases[] = {
        {"SetTracePropertyCommand", property("DIAG", "History", "17"), "0"},
        {"SetTracePropertyCommand", property("DIAG", "History", "0"), "0xE020E101"},
        {"AddTraceFilterCommand", dictionary({{"KeyTraceFilterName", text("Size")}}), "0xE020E101"},
        {"GetTracePropertyCommand", property("DIAG", "History"), nullptr},
        {"GetStatisticsCommand", kNull, nullptr},
        {"BasebandNVDataCommand", dictionary({{"KeyBasebandNVDataAction", text("Erase")}}), "0"},
        {"ResetBasebandCommand", dictionary({{"KeyBasebandResetType", text("Soft reset")}}), "0", true},
    };
    Daemon daemon;
    const std::string who =
        " CLIENT_UID=" + std::to_string(geteuid()) + " CLIENT_PID=" + std::to_string(getpid()) + " CLIENT_NAME=peer\n";
    std::string wanted;
    for (const auto& [command, argument, result, leaves] : cases) {
        Peer peer(daemon.socketPath());
        if (leaves) {
            peer.send(ryn::wire::Packet(ryn::wire::Request{1, command, argument}));
        } else {
            peer.ask(command, argument);
        }
        wanted += result == nullptr ? "" : std::string("Corvane: COMMAND=") + command + " RESULT=" + result + who;
    }
    daemon.process().waitForError("COMMAND=ResetBasebandCommand");
    std::istringstream lines(daemon.stop(SIGTERM).err);
    std::string recorded;
    for (std::string line; std::getline(lines, line);) {
        recorded += line.starts_with("Corvane: COMMAND=") ? line + '\n' : "";
    }
    EXPECT_EQ(recorded, wanted);
}

}  // namespace
