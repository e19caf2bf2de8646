#include "Conversation.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string kBuiltIns =
    "\tcd                <sub-command>\n\thelp              \n\tback              \n\tquit              \n\n";
const std::string kRootHelp =
    "\nOptions for command 'ryntool':\n\n"
    "\tinfo              version of tool, daemon and baseband\n\n"
    "\tbaseband          [state|time|wake]\n"
    "\t                  <diagnostics>     [abort|run]\n"
    "\t                  <reset>           [hard|soft|unblock]\n\n"
    "\tcoredump          [enabled|status]\n\n"
    "\tdiag              [enabled|enabled-on-sleep|extra-dmc|history|mode|primary-dmc|secondary-dmc|sleep-dmc|status]\n\n"
    "\tkernelpci         [buffercount|enabled|history|status]\n\n"
    "\tpower             [disable|dump|enable|simulate]\n\n"
    "\trfs               [erase|sync]\n\n"
    "\tstats             [bootmodule|get-statistics]\n\n"
    "\ttems              [mode]\n\n"
    "\ttrace             [dump|get|keepscratch|set]\n"
    "\t                  <filter>          [add|remove|status]\n\n" +
    kBuiltIns;

TEST(HelpTest, EveryPage) {
    const std::string baseband = helpPage(
        "baseband", {{"state", "boot state of baseband"}, {"time", "current baseband time"}, {"wake", "last wake reason"}},
        "\tdiagnostics       [abort|run]\n\n\treset             [hard|soft|unblock]\n\n");
    const std::string coredump = helpPage(
        "coredump", {{"enabled", "[true|false] enable or disable baseband coredump"}, {"status", "status of baseband coredump"}});
    const std::string diag = helpPage("diag", {{"enabled", "[true|false] enable or disable diag trace"},
                                               {"enabled-on-sleep", "[off|full|lite] run diag during AP sleep"},
                                               {"extra-dmc", "extra-dmc used by diag trace"},
                                               {"history", "history (MB) of diag trace to capture"},
                                               {"mode", "diag mode to use"},
                                               {"primary-dmc", "primary-dmc used by diag trace"},
                                               {"secondary-dmc", "secondary-dmc used by diag trace"},
                                               {"sleep-dmc", "sleep-dmc used by diag trace"},
                                               {"status", "status of diag trace"}});
    const std::string kernelPCI = helpPage("kernelpci", {{"buffercount", "number of buffers to use for kernelpci trace"},
                                                         {"enabled", "[true|false] enable or disable kernelpci trace"},
                                                         {"history", "history (MB) of kernelpci trace to capture"},
                                                         {"status", "status of kernelpci trace"}});
    const std::string power = helpPage("power", {{"disable", "[npa|f3] disable power log collection from baseband"},
                                                 {"dump", "[npa|f3] dump power log from baseband"},
                                                 {"enable", "[npa|f3] enable power log collection from baseband"},
                                                 {"simulate", "[0x...] simulate AP power events"}});
    const std::string rfs = helpPage("rfs", {{"erase", "erase remote filesystem and soft-reset baseband (take caution)"},
                                             {"sync", "[nowait] sync remote filesystem with baseband"}});
    const std::string stats =
        helpPage("stats", {{"bootmodule", "Statistics for BootModule"}, {"get-statistics", "Get Statistics"}});
    expectConversations({
        {"help", {}, {}, kRootHelp, "", 0},
        {"bogus", {}, {}, "\nInvalid command option 'bogus'" + kRootHelp, "", 1},
        {"quit", {}, {}, "", "", 0},
        {"baseband help -- baseband reset help -- baseband diagnostics help",
         {},
         {},
         baseband + kResetHelp + kDiagnosticsHelp,
         "",
         0},
        {"coredump help -- diag help -- kernelpci help -- power help", {}, {}, coredump + diag + kernelPCI + power, "", 0},
        {"rfs help -- stats help -- tems help -- trace help -- trace filter help",
         {},
         {},
         rfs + stats + kTEMSHelp + kTraceHelp + kFilterHelp,
         "",
         0},
    });
}

}  // namespace
