#include "Packaging/HelpTree.h"
#include "support/Process.h"
#include "support/Pty.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
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

TEST_P(CompletionTest, OffersWhatStandsInEachGroup) {
    const auto tree = packaging::completionTable();
    std::string script = ". " + kFolder + "/candidates.sh\n";
    std::string expected;
    for (const auto& [group, none] : tree) {
        if (!group.ends_with('/')) {
            continue;
        }
        std::string words = group;
        std::replace(words.begin(), words.end(), '/', ' ');
        script += "__ryntool_candidates info -- " + words + "; printf '%s ' \"${candidates[@]%%:*}\"\n";
        for (const auto& [path, help] : tree) {
            const auto end = path.find('/', group.size());
            if (path.size() > group.size() && path.starts_with(group) && (end == std::string::npos || end + 1 == path.size())) {
                expected += path.substr(group.size(), end - group.size()) + " ";
            }
        }
        expected += "help ";
    }
    EXPECT_EQ(support::run({GetParam().name, "-s"}, {}, script).out, expected);
}

INSTANTIATE_TEST_SUITE_P(Shells, CompletionTest, testing::ValuesIn(kShells),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
