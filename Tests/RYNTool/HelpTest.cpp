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

/// The words and texts of every other page are held against the completion's table, and the layout by the shell's own test.
TEST(HelpTest, PagesOfTheRootAndBelow) {
    expectConversations({
        {"help", {}, {}, kRootHelp},
        {"bogus", {}, {}, "\nInvalid command option 'bogus'" + kRootHelp, "", 1},
        {"quit", {}, {}},
        {"trace help -- trace filter help -- tems help", {}, {}, kTraceHelp + kFilterHelp + kTEMSHelp},
        {"baseband reset help -- baseband diagnostics help", {}, {}, kResetHelp + kDiagnosticsHelp},
    });
}

}  // namespace
