#include "Conversation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using support::boolean;
using support::dictionary;
using support::number;
using support::text;

Answer emptyDictionary() {
    return {0, dictionary({})};
}

std::string resetRequest(const std::string& type, const std::string& reason) {
    return R"(ResetBasebandCommand {"KeyBasebandResetReason":"[ryntool] )" + reason +
           R"(","KeyBasebandResetSubType":"UserTriggered","KeyBasebandResetType":")" + type + "\"}";
}

TEST(RYNCommandTest, Info) {
    const Answer versions{0, dictionary({{"KeyCorvaneVersion", text("Corvane-1")}, {"KeyBasebandVersion", text("1.2.3")}})};
    const std::string asked = "GetCorvaneInfoCommand null";
    const std::string tool = "Tool version: Corvane-699\n";
    const std::string failed = "Query to get Daemon and Baseband version failed.\nError data : ";
    expectConversations({
        when("info extra words", {versions}, {asked}, tool + "Daemon version: Corvane-1\nBaseband version: 1.2.3\n"),
        when("info", {carrying("KeyBasebandVersion", number(1))}, {asked},
             tool + "Daemon version: Unknown\nBaseband version: Unknown\n"),
        when("info", {{0, text("no dictionary")}}, {asked}, tool + "Daemon version: Unknown\nBaseband version: Unknown\n"),
        when("info", {refusal()}, {asked}, tool, failed + kRefusal + "\n", 1),
        when("info", {{1, text("no dictionary")}}, {asked}, tool, failed + "null\n", 1),
    });
}

TEST(ModemCommandTest, State) {
    const std::vector<std::string> asked = {"GetBasebandBootStateCommand null", "GetBasebandOperatingModeCommand null"};
    const Answer ready = carrying("KeyBasebandBootState", text("Ready"));
    const auto mode = [](int value) { return carrying("KeyBasebandOperatingMode", number(value)); };
    const auto setMode = [](const std::string& arguments) {
        return R"(SetBasebandOperatingModeCommand {"KeyBasebandOperatingMode":)" + arguments + "}";
    };
    expectConversations({
        when("baseband state", {ready, mode(3)}, asked, "Boot state: Ready\nOperating mode: 3\n"),
        when("baseband state", {emptyDictionary(), emptyDictionary()}, asked, "Boot state: Unknown\nOperating mode: -1\n"),
        when("baseband state", {{0, text("x")}, {0, text("x")}}, asked, "Boot state: Unknown\nOperating mode: Unknown\n"),
        when("baseband state", {refusal(), mode(0)}, asked, "Boot state: Unknown\nOperating mode: 0\n", "", 1),
        when("baseband state", {ready, {}}, asked, "Boot state: Ready\nOperating mode: Unknown\n"),
        when("baseband state", {ready, refusal()}, asked, "Boot state: Ready\nOperating mode: Unknown\n", "", 1),
        when("baseband state 3", {}, {setMode("3")}, "Success\n"),
        when("baseband state 3 10 x", {refusal()}, {setMode(R"(3,"KeyTimeout":10)")}, "Failed\n"),
        when("baseband state 4294967297 -4294967297", {}, {setMode(R"(1,"KeyTimeout":-1)")}, "Success\n"),
        when("baseband state Watch -- baseband state -2", {}, {setMode("0"), setMode("-2")}, "Success\nSuccess\n"),
    });
}

TEST(ModemCommandTest, TimeAndWake) {
    const std::string time = "GetBasebandTimeCommand null";
    const std::string wake = "GetBasebandWakeReasonCommand null";
    const auto channel = [](const xpc::Object& value) { return carrying("KeyBasebandWakeChannel", value); };
    const std::string asleep = "Baseband did not wake the AP\n";
    const std::string awake = "Baseband woke the AP due to:\n{\"KeyBasebandWakeChannel\":7}\n";
    const std::string failed = "Failed to get wake reason\n";
    expectConversations({
        when("baseband time x", {carrying("KeyBasebandTimeAsString", text("noon"))}, {time}, "Baseband time: noon\n"),
        when("baseband time", {emptyDictionary()}, {time}, "Baseband time: Unknown\n"),
        when("baseband time", {{}}, {time}, "Baseband time: Unknown\n"),
        when("baseband time", {refusal()}, {time}, "Baseband time: Unknown\n", "", 1),
        when("baseband wake x", {channel(number(0))}, {wake}, asleep),
        when("baseband wake", {channel(text("7"))}, {wake}, asleep),
        when("baseband wake", {channel(number(7))}, {wake}, awake),
        when("baseband wake", {{}}, {wake}, "", failed, 0),
        when("baseband wake", {refusal()}, {wake}, "", failed, 1),
    });
}

TEST(ResetCommandTest, Resets) {
    expectConversations({
        when("baseband reset soft", {}, {resetRequest("Soft reset", "User triggered")}, "Soft reset baseband: Success\n"),
        when("baseband reset hard crash", {refusal()}, {resetRequest("Hard reset", "crash")}, "Hard reset baseband: Failed\n",
             kRefusal + "\n", 1),
        when("baseband reset hard", {{1}}, {resetRequest("Hard reset", "User triggered")}, "Hard reset baseband: Failed\n", "",
             1),
        when("baseband reset soft two words", {}, {}, help("baseband reset"), "", 1),
        when("baseband reset unblock now", {}, {"UnblockBasebandResetCommand null"}, "Reset unblock: Success\n"),
        when("baseband reset unblock", {refusal()}, {"UnblockBasebandResetCommand null"}, "Reset unblock: Failed\n", "", 1),
    });
}

TEST(DiagnosticsCommandTest, SelfTest) {
    const auto list = [](const std::string& value) {
        std::string text = "[" + value;
        for (int count = 1; count < 32; ++count) {
            text += "," + value;
        }
        return text + "]";
    };
    const std::string runRequest = R"(BasebandDiagnosticsCommand {"KeyBasebandDiagnosticsAction":"BasebandDiagnosticsActionRun",)"
                                   R"("KeyBasebandDiagnosticsOptions":{"KeyRFSelfTestForwardPowerLimitHighList":)" +
                                   list("255") + R"(,"KeyRFSelfTestForwardPowerLimitLowList":)" + list("0") +
                                   R"(,"KeyRFSelfTestPowerRatioLimitHighList":)" + list("255") +
                                   R"(,"KeyRFSelfTestPowerRatioLimitLowList":)" + list("0") +
                                   R"(,"KeyRFSelfTestTargetTxPower2G":230,"KeyRFSelfTestTargetTxPower3G4G":200},)"
                                   R"("KeyBasebandDiagnosticsType":"BasebandDiagnosticsTypeRFSelfTest"})";
    const std::string abortRequest =
        R"(BasebandDiagnosticsCommand {"KeyBasebandDiagnosticsAction":"BasebandDiagnosticsActionAbort"})";
    const std::string event = "BasebandDiagnosticsNotification";
    const std::string ofRun = "command BasebandDiagnosticsActionRun to test BasebandDiagnosticsTypeRFSelfTest";
    const std::string ofAbort = "command BasebandDiagnosticsActionAbort to test ";
    const std::string invalid = "Invalid test type [] passed.\n";
    expectConversations({
        when(
            "baseband diagnostics run rftest",
            {{0,
              {},
              {{event, dictionary({{"a", number(1)}})}, {"OtherNotification", dictionary({})}, {event, text("x")}, {event, {}}}}},
            {runRequest},
            "Sent " + ofRun + "\nEvent : " + event + "\nEvent data : {\"a\":1}\nEvent : " + event +
                "\nEvent data : null\nEvent : " + event + "\nEvent data : null\nCallback for " + ofRun + " : Success\n"),
        when("baseband diagnostics run rftest", {refusal()}, {runRequest},
             "Sent " + ofRun + "\nCallback for " + ofRun + " : Failed\n", kRefusal + "\n", 0),
        when("baseband diagnostics abort it", {{1, text("x")}}, {abortRequest},
             "Sent " + ofAbort + "\nCallback for " + ofAbort + " : Failed\n"),
        when("baseband diagnostics run", {}, {}, help("baseband diagnostics"), invalid, 1),
        when("baseband diagnostics run rftest x", {}, {}, help("baseband diagnostics"), invalid, 1),
        when("baseband diagnostics run RFTEST", {}, {}, help("baseband diagnostics"), invalid, 1),
    });
}

TEST(PowerCommandTest, LogsAndNotifications) {
    const auto log = [](const std::string& action, const std::string& name) {
        return R"(LogCollectionCommand {"KeyLogCollectionAction":")" + action + R"(","KeyTracePropertyName":")" + name + "\"}";
    };
    const auto simulate = [](const std::string& number) {
        return R"(SimulatePowerNotificationCommand {"KeyPowerNotificationMessage":)" + number + "}";
    };
    const std::string invalid = "Invalid power log option. Pass [npa|f3]\n";
    const std::string simulated = "Simulated power notification 0x";
    expectConversations({
        when("power enable npa", {}, {log("Enable", "NPA")}, "Sent command to Enable NPA\n"),
        when("power disable f3", {}, {log("Disable", "F3")}, "Sent command to Disable F3\n"),
        when("power dump f3", {refusal()}, {log("DumpLog", "F3")}, "Sent command to DumpLog F3\n", "", 1),
        when("power enable", {}, {}, "", invalid, 1),
        when("power enable NPA", {}, {}, "", invalid, 1),
        when("power enable npa f3", {}, {}, "", invalid, 1),
        when("power simulate", {}, {}, "Invalid power command usage\n", "", 1),
        when("power simulate 0x1f more", {}, {simulate("31")}, simulated + "1f accepted\n"),
        when("power simulate 1Fg", {refusal()}, {simulate("31")}, simulated + "1f", " rejected\n", 1),
        when("power simulate 123456789", {}, {simulate("591751049")}, simulated + "23456789 accepted\n"),
        when("power simulate zz", {}, {simulate("0")}, simulated + "0 accepted\n"),
        when("power simulate -1", {}, {simulate("4294967295")}, simulated + "ffffffff accepted\n"),
        // Standard output stays hexadecimal.
        when("power simulate 1 -- baseband state -- trace filter status",
             {{}, {}, carrying("KeyBasebandOperatingMode", number(-1)), carrying("FreeSpacePercentage", number(20))},
             {simulate("1"), "GetBasebandBootStateCommand null", "GetBasebandOperatingModeCommand null",
              "GetTraceFiltersCommand null"},
             simulated + "1 accepted\nBoot state: Unknown\nOperating mode: ffffffff\nFree-space filter: 14 % \n"),
    });
}

TEST(RemoteFSCommandTest, SyncAndErase) {
    const auto sync = [](const std::string& wait) {
        return R"(BasebandSyncFSCommand {"KeyFSSyncWaitForCompletion":)" + wait + "}";
    };
    const std::string erase = R"(BasebandNVDataCommand {"KeyBasebandNVDataAction":"Erase"})";
    const std::string reset = resetRequest("Soft reset", "Remote filesystem erased by user");
    const std::string syncFailed = "Sync remote filesystem: Failed\n";
    const std::string erased = "Erase remote filessytem: Success\n";
    const std::string triggering = "Triggering baseband soft-reset ...\n";
    const std::string wasReset = "Baseband soft-reset: Success\n";
    const std::string notErased = "Erase remote filesystem: Failed\n";
    const std::string notReset = "Baseband soft-reset: Failed\n";
    const std::string said = kRefusal + "\n";
    expectConversations({
        when("rfs sync", {}, {sync("true")}, "", syncFailed, 1),
        when("rfs sync nowait", {refusal()}, {sync("false")}, "", syncFailed + kRefusal + "\n", 1),
        when("rfs sync nowait now", {emptyDictionary()}, {sync("true")}, "", syncFailed + "{}\n", 1),
        when("rfs erase all", {}, {erase, reset}, erased + triggering + wasReset),
        when("rfs erase", {{}, {0, boolean(true)}}, {erase, reset}, erased + triggering + wasReset, "", 1),
        when("rfs erase", {emptyDictionary()}, {erase, reset}, erased + triggering + wasReset, "", 1),
        when("rfs erase", {refusal(), refusal()}, {erase, reset}, triggering, notErased + said + notReset + said, 1),
        when("rfs erase", {{1}, {1}}, {erase, reset}, triggering, notErased + notReset, 0),
    });
}

TEST(StatsCommandTest, ReadsAndReports) {
    const auto get = [](const std::string& type) {
        return "GetStatisticsCommand {" + (type.empty() ? "" : "\"KeyReportingModuleType\":" + type) + "}";
    };
    const auto report = [](const std::string& data) {
        return R"(ReportingStatisticsCommand {"KeyReportingData":)" + data + R"(,"KeyReportingModuleType":0})";
    };
    const std::string got = "Success to get statstics.\n";
    const std::string reported = "Success to create category in the statstics.\n";
    expectConversations({
        when("stats get-statistics", {carrying("n", number(1))}, {get("")}, got + "{\"n\":1}\n"),
        when("stats get-statistics 1 2", {}, {get("")}, got + "null\n"),
        when("stats get-statistics 4294967297", {}, {get("1")}, got + "null\n"),
        when("stats get-statistics -1", {refusal()}, {get("4294967295")}, "Failed to get statistics\n", "", 1),
        when("stats bootmodule", {}, {report("{}")}, reported),
        when("stats bootmodule 100", {}, {report(R"({"KeyBootModuleLastRecoveryTime":100})")}, reported),
        when("stats bootmodule  7", {}, {report(R"({"KeyBootModuleLastHardResetTime":7})")}, reported),
        when("stats bootmodule abc 9999999999 x", {},
             {report(R"({"KeyBootModuleLastHardResetTime":9999999999,"KeyBootModuleLastRecoveryTime":0})")}, reported),
        when("stats bootmodule", {refusal()}, {report("{}")}, "Failed to report statistics\nError data : " + kRefusal + "\n", "",
             1),
        when("stats bootmodule", {{1}}, {report("{}")}, "Failed to report statistics\nError data : null\n", "", 1),
    });
}

}  // namespace
