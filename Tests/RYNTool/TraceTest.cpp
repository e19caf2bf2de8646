#include "Conversation.h"
#include "commands/TraceProperty.h"
#include "platform/dispatch/dispatch.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using support::dictionary;
using support::number;
using support::text;

/// A property leaf's whole behaviour: read, written as typed, refused, misused.
struct Leaf {
    std::string command;
    std::string trace;
    std::string property;
    std::string label;
    std::string unit;
    std::string getSuffix;
    bool failsOnError = true;
};

void expectLeaf(const Leaf& leaf) {
    const std::string quoted = "'" + leaf.label + "'";
    const auto failing = [&](const std::string& typed, const Answer& answer, const std::vector<std::string>& requests,
                             const std::string& line) {
        return when(typed, {answer}, requests, leaf.failsOnError ? "" : line, leaf.failsOnError ? line : "", 1);
    };
    const std::string get = getProperty(leaf.trace, leaf.property);
    expectConversations({
        when(leaf.command, {valueAnswer("as told")}, {get}, leaf.label + ": as told" + leaf.unit + "\n"),
        when(leaf.command, {{0, dictionary({})}}, {get}, leaf.label + ": Unknown" + leaf.unit + "\n"),
        when(leaf.command, {{0, text("x")}}, {get}, leaf.label + ": " + leaf.unit + "\n"),
        failing(leaf.command, refusal(), {get}, "Failed to get " + quoted + leaf.getSuffix + "\n"),
        when(leaf.command + " aS-Typed", {}, {setProperty(leaf.trace, leaf.property, "aS-Typed")},
             leaf.label + ": aS-Typed" + leaf.unit + "\n"),
        failing(leaf.command + " 64", refusal(), {setProperty(leaf.trace, leaf.property, "64")},
                "Failed to set " + quoted + " to '64'" + leaf.unit + "\n"),
        failing(leaf.command + " true false", {}, {}, "Invalid value(s) passed for " + quoted + "\n"),
    });
}

TEST(PropertyLeafTest, ReadsAndWritesAsTyped) {
    const Leaf leaves[] = {
        {"coredump enabled", "CoreDump", "Enabled", "Enabled", "", " status"},
        {"trace keepscratch", "RYN", "KeepScratchLogs", "KeepScratchLogs", "", ""},
        {"kernelpci enabled", "KernelPCI", "Enabled", "Enabled", "", " status"},
        {"kernelpci history", "KernelPCI", "History", "History", " MB", "", false},
        {"kernelpci buffercount", "KernelPCI", "BufferCount", "Buffer-count", "", "", false},
        {"diag enabled", "DIAG", "Enabled", "Enabled", "", " status"},
        {"diag history", "DIAG", "History", "History", " MB", " status"},
        {"diag secondary-dmc", "DIAG", "File_Secondary", "Secondary-dmc", "", ""},
        {"diag extra-dmc", "DIAG", "File_Extra", "Extra-dmc", "", ""},
        {"diag sleep-dmc", "DIAG", "File_Sleep", "Sleep-dmc", "", ""},
        {"diag enabled-on-sleep", "DIAG", "Enabled_During_Sleep", "Enabled-on-sleep", "", ""},
        {"diag mode", "DIAG", "Mode", "Mode", "", ""},
    };
    for (const Leaf& leaf : leaves) {
        expectLeaf(leaf);
    }
}

TEST(StatusTest, ReadsSeveralProperties) {
    const std::string denied = "Denied: Can't modify 'Primary-dmc'\n";
    std::vector<std::string> diag;
    for (const auto* name :
         {"Enabled", "History", "File", "File_Secondary", "File_Extra", "File_Sleep", "Enabled_During_Sleep"}) {
        diag.push_back(getProperty("DIAG", name));
    }
    const std::vector<std::string> pci = {getProperty("KernelPCI", "Enabled"), getProperty("KernelPCI", "History")};
    const Answer timedOut{static_cast<int>(0xE020E012)};
    const Answer connectionLost{static_cast<int>(0xE020E011)};
    const std::string pciFailed = "Failed to get status of kernelpci trace\n";
    const std::string coredump = getProperty("CoreDump", "Enabled");
    expectConversations({
        when("coredump status x", {valueAnswer("true")}, {coredump}, "Enabled: true\n"),
        when("coredump status", {valueAnswer(std::string("a\0b", 3))}, {coredump}, std::string("Enabled: a\0b\n", 13)),
        when("coredump status", {refusal()}, {coredump}, "Failed to get status of baseband coredump\n", "", 1),
        when("kernelpci status x", {valueAnswer("true"), valueAnswer("5")}, pci, "Enabled: true\nHistory: 5 MB\n"),
        when("kernelpci status", {refusal(), valueAnswer("5")}, pci, pciFailed, "", 1),
        when("kernelpci status", {valueAnswer("true"), refusal()}, pci, pciFailed, "", 1),
        when("diag status x",
             {valueAnswer("1"), refusal(), valueAnswer("3"), valueAnswer("4"), valueAnswer("5"), valueAnswer("6"),
              valueAnswer("7")},
             diag,
             "Enabled: 1\nHistory:  MB\nPrimary-dmc: 3\nSecondary-dmc: 4\nExtra-dmc: 5\nEnable-on-sleep: 7\nSleep-dmc: 6\n"),
        when("diag status", {refusal()}, diag, "", "Failed to get status of DIAG trace\n", 1),
        // A manager that is silent or gone is asked no more than what decides.
        when("diag status", {timedOut}, {diag[0]}, "", "Failed to get status of DIAG trace\n", 1),
        when("diag status", {valueAnswer("1"), connectionLost}, {diag[0], diag[1]},
             "Enabled: 1\nHistory:  MB\nPrimary-dmc: \nSecondary-dmc: \nExtra-dmc: \nEnable-on-sleep: \nSleep-dmc: \n"),
        when("kernelpci status", {timedOut, valueAnswer("5")}, pci, pciFailed, "", 1),
        when("diag primary-dmc", {valueAnswer("Default")}, {diag[2]}, "Primary-dmc: Default\n"),
        when("diag primary-dmc", {refusal()}, {diag[2]}, "", "Failed to get 'Primary-dmc'\n", 1),
        when("diag primary-dmc x", {}, {}, "", denied, 1),
        when("diag primary-dmc x y", {}, {}, "", denied, 1),
    });
}

TEST(TracePropertyTest, SendsATimeoutAndNothingWithoutAName) {
    const support::TempFolder folder;
    const support::ScriptedManager manager(folder / "manager.sock",
                                           [](auto& connection, const auto& request) { connection.reply(request.id, 0); });
    setenv("CORVANE_SOCKET", manager.path().c_str(), 1);
    auto* const queue = dispatch_queue_create("test.queue", nullptr);
    const auto client = ryn::client::CreateManager("test", queue);
    std::string value;
    EXPECT_EQ(getTraceProperty(client, "DIAG", "Mode", value, 7), 0);
    EXPECT_EQ(setTraceProperty(client, "DIAG", "Mode", "1", 7), 0);
    EXPECT_EQ(getTraceProperty(client, "DIAG", "", value, 0), static_cast<int>(0xE020E002));
    EXPECT_EQ(setTraceProperty(nullptr, "DIAG", "Mode", "1", 0), static_cast<int>(0xE020E002));
    EXPECT_THAT(manager.requests(),
                testing::ElementsAre(testing::HasSubstr("\"KeyTimeout\":7"), testing::HasSubstr("\"KeyTimeout\":7")));
    dispatch_release(queue);
}

TEST(TEMSCommandTest, Mode) {
    const std::string get = "GetTEMSPropertyCommand null";
    const auto set = [](const std::string& mode) { return R"(SetTEMSPropertyCommand {"KeyTEMSMode":")" + mode + "\"}"; };
    expectConversations({
        when("tems mode", {carrying("KeyTEMSMode", text("HW"))}, {get}, "Mode: HW\n"),
        when("tems mode", {{}}, {get}, "Mode: Unknown\n"),
        when("tems mode", {refusal()}, {get}, "", "Failed to get 'Mode'\n", 1),
        when("tems mode Hw", {}, {set("HW")}, "Mode: HW\n"),
        when("tems mode off", {refusal()}, {set("OFF")}, "", "Failed to set 'Mode' to 'OFF'\n", 1),
        when("tems mode sw", {}, {}, help("tems"), "Invalid value(s) passed for 'Mode'\n", 1),
        when("tems mode hw off", {}, {}, "", "", 1),
    });
}

TEST(TraceCommandTest, DumpGetSet) {
    const auto dump = [](const std::string& reason) {
        return R"(CollectTraceLogsCommand {"KeyTraceLogsReason":"[ryntool] )" + reason + "\"}";
    };
    expectConversations({
        when("trace dump", {}, {dump("User triggered")}, "Dump: Success\n"),
        when("trace dump crash", {refusal()}, {dump("crash")}, "Dump: Failed\n"),
        when("trace dump a b", {}, {}, help("trace"), "", 1),
        when("trace set DIAG History 512 extra", {}, {setProperty("DIAG", "History", "512")}, "DIAG: History = 512\n"),
        when("trace set NoSuch p v", {refusal()}, {setProperty("NoSuch", "p", "v")}, "Setting NoSuch p = v failed\n", "", 1),
        when("trace set DIAG History", {}, {}, help("trace"), "", 1),
        when("trace get diag History x", {valueAnswer("256")}, {getProperty("diag", "History")}, "diag: History = 256\n"),
        when("trace get x y", {{}}, {getProperty("x", "y")}, "x: y = Unknown\n"),
        when("trace get  y", {}, {}, "Getting  y failed\n", "", 1),
        when("trace get x ", {}, {}, "Getting x  failed\n", "", 1),
        when("trace set  y v", {}, {}, "Setting  y = v failed\n", "", 1),
        when("trace set x y ", {}, {setProperty("x", "y", "")}, "x: y = \n"),
        when("trace get x y", {refusal()}, {getProperty("x", "y")}, "Getting x y failed\n", "", 1),
        when("trace get x", {}, {}, help("trace"), "", 1),
    });
}

TEST(TraceFilterCommandTest, Add) {
    const auto add = [](const std::string& name, const std::string& value) {
        return R"(AddTraceFilterCommand {"KeyTraceFilterName":")" + name + R"(","KeyTraceFilterValue":)" + value + "}";
    };
    const auto freeSpace = [&](const std::string& typed, const std::string& sent) {
        return when("trace filter add freespace " + typed, {}, {add("FreeSpacePercentage", sent)},
                    "Free-space filter: " + typed + " % \n");
    };
    const auto maxLog = [&](const std::string& typed, const std::string& sent) {
        return when("trace filter add maxlog " + typed, {}, {add("MaxLogLimit", sent)}, "Max-log limit filter: " + typed + "\n");
    };
    const auto refused = [](const std::string& filter, const std::string& typed, const std::string& what) {
        return when("trace filter add " + filter + " " + typed, {}, {}, help("trace filter"), "\nInvalid " + what + " ] passed\n",
                    1);
    };
    const std::string unset = "Failed to set trace filter '";
    expectConversations({
        freeSpace("100", "100"),
        freeSpace("0x20", "32"),
        freeSpace("+7", "7"),
        freeSpace("-0", "0"),
        freeSpace("default", "null"),
        maxLog("0", "0"),
        maxLog("010", "8"),
        maxLog("2147483647", "2147483647"),
        maxLog("0X7fffffff", "2147483647"),
        when("trace filter add maxlog", {}, {add("MaxLogLimit", "null")}, "Max-log limit filter: default\n"),
        when("trace filter add maxlog 3 4", {}, {add("MaxLogLimit", "null")}, "Max-log limit filter: default\n"),
        refused("freespace", "101", "free-space percentage [ 101 %"),
        refused("freespace", "-1", "free-space percentage [ -1 %"),
        refused("freespace", "0x", "free-space percentage [ 0x %"),
        maxLog("\t5", "5"),
        refused("maxlog", "0b11", "max-log limit [ 0b11"),
        refused("maxlog", "0x-5", "max-log limit [ 0x-5"),
        refused("maxlog", "5abc", "max-log limit [ 5abc"),
        refused("maxlog", "08", "max-log limit [ 08"),
        refused("maxlog", "-2147483648", "max-log limit [ -2147483648"),
        refused("maxlog", "2147483648", "max-log limit [ 2147483648"),
        refused("maxlog", "Default", "max-log limit [ Default"),
        when("trace filter add freespace 5", {refusal()}, {add("FreeSpacePercentage", "5")}, "", unset + "Free-space' to '5 %'\n",
             1),
        when("trace filter add maxlog 5", {refusal()}, {add("MaxLogLimit", "5")}, "", unset + "Max-log' limit to '5'\n", 1),
        when("trace filter add", {}, {}, help("trace filter"), "\nPass filter type to be added.\n", 1),
        when("trace filter add size 5", {}, {}, "", "", 1),
    });
}

TEST(TraceFilterCommandTest, RemoveAndStatus) {
    const std::string freeSpace = R"(RemoveTraceFilterCommand {"KeyTraceFilterName":"FreeSpacePercentage"})";
    const std::string maxLog = R"(RemoveTraceFilterCommand {"KeyTraceFilterName":"MaxLogLimit"})";
    const std::string status = "GetTraceFiltersCommand null";
    const std::string misused = "\nInvalid input. Pass a filter to be removed.\n";
    const std::string none = "No trace log filters were configured\n";
    const auto filters = [](std::initializer_list<std::pair<const char*, xpc::Object>> entries) {
        return std::vector<Answer>{{0, dictionary(entries)}};
    };
    expectConversations({
        when("trace filter remove freespace", {}, {freeSpace}, "Removed 'Free-space' filter\n"),
        when("trace filter remove maxlog", {refusal()}, {maxLog}, "", "Failed to removed 'Max-log' filter\n", 1),
        when("trace filter remove all", {refusal()}, {freeSpace, maxLog}, "Removed 'Max-log' filter\n",
             "Failed to removed 'Free-space' filter\n", 1),
        when("trace filter remove All", {}, {}, help("trace filter"), "\nInvalid filter option 'All' passed\n", 1),
        when("trace filter remove", {}, {}, misused + help("trace filter"), "", 1),
        when("trace filter remove all all", {}, {}, misused + help("trace filter"), "", 1),
        when("trace filter status x", filters({{"MaxLogLimit", number(3)}, {"FreeSpacePercentage", text("x")}}), {status},
             "Free-space filter: 0 % \nMax-log limit filter: 3\n"),
        when("trace filter status", filters({{"MaxLogLimit", number(4294967297)}}), {status}, "Max-log limit filter: 1\n"),
        when("trace filter status", filters({{"Other", number(3)}}), {status}, ""),
        when("trace filter status", filters({}), {status}, none),
        when("trace filter status", {{0, number(1)}}, {status}, none),
        when("trace filter status", {refusal()}, {status}, "", "Failed to get trace filter status\n", 1),
    });
}

}  // namespace
