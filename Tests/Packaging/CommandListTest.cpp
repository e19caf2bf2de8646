#include "Packaging/HelpTree.h"
#include "support/Process.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <regex>
#include <set>
#include <sstream>

namespace {

/// The paths of the commands in the manual: the words of each ".It Ic" line up to its first macro.
std::set<std::string> commandsOfManual() {
    std::set<std::string> commands;
    std::istringstream lines(support::readFile(SOURCE_FOLDER "/Packaging/man/ryntool.1"));
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with(".It Ic ")) {
            continue;
        }
        std::istringstream words(line.substr(7));
        std::string path;
        for (std::string word; words >> word && std::isupper(static_cast<unsigned char>(word[0])) == 0;) {
            path += "/" + word;
        }
        commands.insert(path);
    }
    return commands;
}

TEST(CommandListTest, ManualNamesTheCommandsOfTheTool) {
    std::set<std::string> leaves;
    for (const auto& [path, help] : packaging::helpTree()) {
        if (!path.ends_with('/')) {
            leaves.insert(path);
        }
    }
    EXPECT_THAT(commandsOfManual(), testing::ContainerEq(leaves));
}

TEST(CommandListTest, CompletionHasTheTreeOfTheTool) {
    EXPECT_THAT(packaging::completionTable(), testing::ContainerEq(packaging::helpTree()));
}

/// "[npa|f3] dump power log" promises what the completion has to offer; "[0x...]" and "[<reason>]" promise no word.
TEST(CommandListTest, CompletionOffersTheChoicesOfEachHelpText) {
    std::istringstream lines(support::readFile(SOURCE_FOLDER "/Packaging/completion/commands"));
    for (std::string line; std::getline(lines, line);) {
        static const std::regex kChoices(R"(\S+ (\S+) \[([a-z0-9|]+)\] .*)");
        std::smatch match;
        if (std::regex_match(line, match, kChoices)) {
            const std::string help = std::regex_replace(match[2].str(), std::regex("\\|"), ",");
            EXPECT_THAT("," + match[1].str() + ",", testing::HasSubstr("," + help + ",")) << line;
        }
    }
}

TEST(CommandListTest, ManualNamesTheOptionsOfTheManager) {
    const auto optionsIn = [](const std::string& text, const char* pattern) {
        const std::regex option(pattern);
        std::set<std::string> options;
        for (std::sregex_iterator match(text.begin(), text.end(), option), end; match != end; ++match) {
            options.insert((*match)[1].str());
        }
        return options;
    };
    const auto help = support::run({support::kDaemon, "--help"}).out;
    const auto page = support::readFile(SOURCE_FOLDER "/Packaging/man/Corvane.8");
    EXPECT_THAT(optionsIn(page, R"(\bFl -([a-z-]+))"), testing::ContainerEq(optionsIn(help, R"(\n  --([a-z-]+))")));
}

}  // namespace
