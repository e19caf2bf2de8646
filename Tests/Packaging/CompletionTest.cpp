#include "Packaging/HelpTree.h"
#include "support/Process.h"
#include "support/Pty.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

const std::string kFolder = BUILD_FOLDER "/Packaging/completion";

struct Shell {
    const char* name;
    support::Arguments start;
    std::string load;  ///< what a user's start file does
};

void PrintTo(const Shell& shell, std::ostream* out) {
    *out << shell.name;
}

const Shell kShells[] = {
    {"bash", {"bash", "--norc", "--noprofile", "-i"}, "source " + kFolder + "/ryntool.bash"},
    {"zsh", {"zsh", "-f", "-i"}, "fpath=(" + kFolder + " $fpath); autoload -U compinit; compinit -u -D"},
};

class CompletionTest : public testing::TestWithParam<Shell> {};

TEST_P(CompletionTest, TabCompletesWords) {
    const struct {
        const char* typed;
        const char* words;
    } kCases[] = {
        {"ba\tst\tw\t", "<baseband><state><watch>"},
        {"b\td\tr\tr\t", "<baseband><diagnostics><run><rftest>"},
        {"tr\tf\ta\tm\td\t", "<trace><filter><add><maxlog><default>"},
        {"info -\tp\tdu\tn\t", "<info><--><power><dump><npa>"},
        {"trace get K\tBufferC\t", "<trace><get><KernelPCI><BufferCount>"},
        {"trace get RYN B\t", "<trace><get><RYN><B>"},
        {"rfs sync n\ti\t", "<rfs><sync><nowait><i>"},
        {"rfs h\t", "<rfs><help>"},
        {"info f\t", "<info><f>"},
        {"bogus s\t", "<bogus><s>"},
    };
    const support::TempFolder folder;
    support::writeFile(folder / "info-file", "a word that no file name may complete\n");
    support::Pty shell(GetParam().start, {{"TERM", "dumb"}, {"HOME", folder.path()}, {"INPUTRC", "/dev/null"}});
    shell.type("cd " + folder.path().string() + "; " + GetParam().load + "\n");
    shell.type("ryntool() { printf '<%s>' \"$@\"; echo .; }; echo rea''dy\n");
    ASSERT_TRUE(shell.expect("ready"));
    for (const auto& row : kCases) {
        shell.type(std::string("ryntool ") + row.typed + "\n");
        EXPECT_TRUE(shell.expect(std::string(row.words) + ".")) << row.typed;
    }
    shell.type("exit\n");
}

/// For each group of the tree its words, and what the table says stands in it, a line a group.
std::vector<std::pair<std::string, std::string>> groups() {
    const auto tree = packaging::completionTable();
    std::vector<std::pair<std::string, std::string>> found;
    for (const auto& [group, none] : tree) {
        if (!group.ends_with('/')) {
            continue;
        }
        std::set<std::string> words{"help"};
        for (const auto& [path, help] : tree) {
            const auto end = path.find('/', group.size());
            if (path.size() > group.size() && path.starts_with(group) && (end == std::string::npos || end + 1 == path.size())) {
                words.insert(path.substr(group.size(), end - group.size()));
            }
        }
        std::string typed = group;
        std::replace(typed.begin(), typed.end(), '/', ' ');
        std::string offered;
        for (const auto& word : words) {
            offered += word + " ";
        }
        found.emplace_back(typed, offered + "\n");
    }
    return found;
}

TEST_P(CompletionTest, OffersWhatStandsInEachGroup) {
    std::string script = ". " + kFolder + "/candidates.sh\n";
    std::string expected;
    for (const auto& [typed, offered] : groups()) {
        script += "__ryntool_candidates info -- " + typed +
                  "; printf '%s\\n' \"${candidates[@]%%:*}\" | LC_ALL=C sort | tr '\\n' ' '; echo\n";
        expected += offered;
    }
    EXPECT_EQ(support::run({GetParam().name, "-s"}, {}, script).out, expected);
}

TEST(FishCompletionTest, OffersGroupsAndArguments) {
    auto cases = groups();
    cases.insert(cases.end(), {{" trace get Kernel", "KernelPCI \n"},
                               {" trace get KernelPCI ", "BufferCount Enabled History \n"},
                               {" trace set RYN History f", "false \n"},
                               {" info f", "\n"},
                               {" info -", "-- \n"}});
    std::string script = "source " + kFolder + "/ryntool.fish\n";
    std::string expected;
    for (const auto& [typed, offered] : cases) {
        script +=
            "complete -C 'ryntool info --" + typed + "' | string replace -r '\\t.*' '' | LC_ALL=C sort | tr '\\n' ' '; echo\n";
        expected += offered;
    }
    const support::TempFolder home;
    EXPECT_EQ(support::run({"fish", "--no-config"}, {{"HOME", home.path()}, {"LC_ALL", "C.UTF-8"}}, script).out, expected);
}

INSTANTIATE_TEST_SUITE_P(Shells, CompletionTest, testing::ValuesIn(kShells),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
