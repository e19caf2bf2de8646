#include "shell/CommandBase.h"
#include "shell/CommandShell.h"
#include "shell/Output.h"
#include "support/Test.h"

namespace {

/// A node whose leaves and children a test chooses.
class Node : public CommandBase {
public:
    using Register = std::function<void(Node&)>;
    Node(const std::string& name, std::weak_ptr<CommandBase> parent, Register registerAll)
        : CommandBase(name, std::move(parent)), registerAll_(std::move(registerAll)) {}

    /// A leaf that prints its words and fails when one is "fail".
    void leaf(const char* word, const char* helpText = "") {
        registerCommand(
            word,
            [word](const auto&, const Words& words) {
                std::string line = word;
                for (const std::string& argument : words) {
                    line += " <" + argument + ">";
                }
                output::printLine({line});
                return std::find(words.begin(), words.end(), "fail") == words.end();
            },
            helpText);
    }
    void child(const char* word, const Register& registerAll) {
        registerSubCommand(word, createNode<Node>(word, weak_from_this(), registerAll));
    }

protected:
    void registerCommands() override { registerAll_(*this); }

private:
    Register registerAll_;
};

void registerTree(Node& root) {
    root.leaf("set");
    root.leaf("get", "get a property");
    root.child("trace", [](Node& trace) {
        trace.leaf("dump");
        trace.child("filter", [](Node& filter) {
            filter.leaf("status");
            filter.leaf("add");
        });
    });
    root.child("childless", [](Node&) {});
    root.child("leafless", [](Node& leafless) {
        leafless.child("deep", [](Node& deep) {
            deep.leaf("run");
            deep.leaf("cd");      // never reached
            deep.leaf("deeper");  // before the child of the same word
            deep.child("deeper", [](Node& deeper) { deeper.leaf("go"); });
            deep.child("..", [](Node& up) { up.leaf("go"); });
        });
    });
    root.leaf("a-word-of-20-letters", "runs into its help");
    // A later registration replaces an earlier one, but for what it leaves empty; the node keeps its own copy of the texts.
    root.leaf(std::string("again").c_str(), std::string("the help of the first").c_str());
    root.registerCommand(
        "again", [](const auto&, const auto&) { return false; }, "");
    root.registerCommand("none", nullptr, "help of nothing");
}

class Shell : public CommandShell {
public:
    std::shared_ptr<CommandBase> createRootCommand(const Words&) override {
        return createNode<Node>("tool", std::weak_ptr<CommandBase>{}, registerTree);
    }
};

const std::string kBuiltIns =
    "\tcd                <sub-command>\n\thelp              \n\tback              \n\tquit              \n\n";
const std::string kTraceHelp =
    "\nOptions for command 'trace':\n\n\tdump              ...\n\n\tfilter            [add|status]\n\n" + kBuiltIns;
const std::string kRootHelp =
    "\nOptions for command 'tool':\n\n\ta-word-of-20-lettersruns into its help\n\tagain             the help of the first\n"
    "\tget               get a property\n\tset               ...\n\n\n"
    "\t                  <deep>            [cd|deeper|run]\n"
    "\t                                    <..>              [go]\n"
    "\t                                    <deeper>          [go]\n\n"
    "\ttrace             [dump]\n\t                  <filter>          [add|status]\n\n" +
    kBuiltIns;
const std::string kRoot = "(/tool)>> ";
const std::string kTrace = "(/tool/trace)>> ";

std::string invalid(const std::string& word, const std::string& help) {
    return "\nInvalid command option '" + word + "'" + help;
}

struct Case {
    Words words;
    const char* input;
    std::string output;
    bool ok;
};

const Case kCases[] = {
    // Words of the program: run once.
    {{"get", "x", "y"}, "", "get <x> <y>\n", true},
    {{"--", "get", "--", "--", "trace", "filter", "add", "1", "--"}, "", "get\nadd <1>\n", true},
    {{"--"}, "", "", true},
    {{"get", "fail", "--", "set"}, "", "get <fail>\n", false},
    {{"help"}, "", kRootHelp, true},
    {{"trace", "help"}, "", kTraceHelp, true},
    {{"trace"}, "", kTraceHelp, false},
    {{"again"}, "", "", false},
    {{"none"}, "", invalid("none", kRootHelp), false},
    {{"help", "me"}, "", invalid("help", kRootHelp), false},
    {{"trace", "back"}, "", invalid("back", kTraceHelp), false},
    {{"quit", "now"}, "", invalid("quit", kRootHelp), false},
    {{"Get"}, "", invalid("Get", kRootHelp), false},
    {{""}, "", invalid("", kRootHelp), false},
    {{"quit", "--", "get"}, "", "", true},
    {{"exit"}, "", "", true},
    {{"back", "--", "cd", "trace", "--", "get"}, "", "get\n", true},
    {{"cd"}, "", kRootHelp, false},
    {{"cd", "trace", "filter"}, "", kRootHelp, false},
    {{"cd", "trace/get"}, "", kTraceHelp, false},
    {{"cd", "trace get"}, "", kTraceHelp, false},
    {{"trace", "cd", "filter"}, "", "", true},
    {{"leafless", "deep", "deeper", "go", "--", "leafless", "deep", "cd", "deeper"}, "", "deeper <go>\n", true},
    // Lines at the prompt.
    {{}, "", kRoot, false},
    {{}, "\n", kRoot + kRoot, false},
    {{}, "quit", kRoot, true},
    {{}, "\n \t \nexit\nget\n", kRoot + kRoot + kRoot, true},
    {{}, "trace\nget x\n", kRoot + kTraceHelp + kRoot + "get <x>\n" + kRoot, false},
    {{},
     "cd trace/filter\nback\ncd ..\ncd ..\nback\nquit\n",
     kRoot + "(/tool/trace/filter)>> " + kTrace + kRoot + kRoot + kRoot,
     true},
    {{}, "cd //trace/\ncd ../trace/filter/..\ndump\n", kRoot + kTrace + kTrace + "dump\n" + kTrace, false},
    {{}, "cd leafless/deep/..\ngo\n", kRoot + "(/tool/leafless/deep/..)>> go\n(/tool/leafless/deep/..)>> ", false},
    {{}, "cd trace/bogus\nget", kRoot + kTraceHelp + kRoot + "get\n" + kRoot, false},
    {{}, "trace cd filter\nadd\n", kRoot + "(/tool/trace/filter)>> add\n(/tool/trace/filter)>> ", false},
    {{},
     "get -- set\nget fail -- set\nget -- set\n",
     kRoot + "get\nset\n" + kRoot + "get <fail>\n" + kRoot + "get\n" + kRoot,
     false},
    {{}, "back me\nget -- quit\n", kRoot + invalid("back", kRootHelp) + kRoot + "get\n" + kRoot, false},
    {{},
     "trace\x0b"
     "filter add \"a b\" \xff\n",
     kRoot + "add <\"a> <b\"> <\xff>\n" + kRoot,
     false},
};

TEST(CommandShellTest, RunsWordsAndLines) {
    const support::TempFolder folder;
    const std::string input = folder / "input";
    for (const Case& row : kCases) {
        SCOPED_TRACE(testing::PrintToString(row.words) + " " + row.input);
        Words words = row.words;
        words.insert(words.begin(), "tool");
        support::writeFile(input, row.input);
        ASSERT_NE(std::freopen(input.c_str(), "r", stdin), nullptr);
        testing::internal::CaptureStdout();
        EXPECT_EQ(Shell().run(words), row.ok);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.output);
    }
}

}  // namespace
