#include "Packaging/HelpTree.h"

#include "support/Process.h"
#include "support/TempFolder.h"

#include <sstream>
#include <stdexcept>
#include <vector>

namespace packaging {

namespace {

constexpr std::size_t kWordWidth = 18;

/// The blocks of a help page between its empty lines: the leaves, each child, the built-ins.
std::vector<std::vector<std::string>> blocks(const std::string& page) {
    std::vector<std::vector<std::string>> found(1);
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            found.emplace_back();
        } else {
            found.back().push_back(line);
        }
    }
    return found;
}

std::string wordOf(const std::string& line) {
    const std::string field = line.substr(1, kWordWidth);
    return field.substr(0, field.find(' '));
}

void walk(const std::string& path, std::map<std::string, std::string>& tree) {
    support::Arguments command{support::kTool};
    std::istringstream words(path);
    for (std::string word; std::getline(words, word, '/');) {
        if (!word.empty()) {
            command.push_back(word);
        }
    }
    command.emplace_back("help");
    const auto outcome = support::run(command);
    const auto page = blocks(outcome.out);
    // An empty line, the title, the leaves, one block a child, the built-ins, and what follows the last empty line.
    if (outcome.status != 0 || page.size() < 5 || wordOf(page[page.size() - 2].at(0)) != "cd") {
        throw std::runtime_error("no help page at " + path + ": " + outcome.out + outcome.err);
    }
    for (const auto& line : page[2]) {
        tree.emplace(path + wordOf(line), line.substr(1 + kWordWidth));
    }
    for (std::size_t child = 3; child + 2 < page.size(); ++child) {
        const std::string group = path + wordOf(page[child].at(0)) + "/";
        tree.emplace(group, "");
        walk(group, tree);
    }
}

}  // namespace

std::map<std::string, std::string> helpTree() {
    support::becomePellcore();
    std::map<std::string, std::string> tree;
    walk("/", tree);
    return tree;
}

std::map<std::string, std::string> completionTable() {
    std::map<std::string, std::string> table;
    std::istringstream lines(support::readFile(SOURCE_FOLDER "/Packaging/completion/commands"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string path;
        std::string arguments;
        std::string help;
        fields >> path >> arguments >> std::ws;
        std::getline(fields, help);
        table.emplace(path, path.ends_with('/') ? "" : help);
    }
    return table;
}

}  // namespace packaging
