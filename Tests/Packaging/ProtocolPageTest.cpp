#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>

namespace {

/// What the first group of `pattern` matches, each once.
void collect(const std::string& text, const std::regex& pattern, std::set<std::string>& found) {
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
        found.insert((*match)[1].str());
    }
}

TEST(ProtocolPageTest, NamesAllThatTravels) {
    const std::string name = R"((Key[A-Z]\w+|[A-Z]\w+(?:Command|Notification)))";
    std::set<std::string> travelling;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(SOURCE_FOLDER "/Manager")) {
        if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h") {
            collect(support::readFile(entry.path()), std::regex("\"" + name + "\""), travelling);
        }
    }
    std::set<std::string> described;
    collect(support::readFile(SOURCE_FOLDER "/Packaging/man/corvane-protocol.7"), std::regex("\\b" + name + "\\b"), described);
    EXPECT_THAT(described, testing::ContainerEq(travelling));
}

}  // namespace
