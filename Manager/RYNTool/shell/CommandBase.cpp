#include "shell/CommandBase.h"

#include "shell/Output.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace {

constexpr std::size_t kFieldWidth = 18;

/// Where the tables of the tree come from: it is built at one go, on one thread, and still stands when the process exits, so
/// nothing is given back.
std::pmr::memory_resource* tableMemory() {
    constexpr std::size_t kTablesOfOneTree = 16384;
    static auto* const memory = std::make_unique<std::pmr::monotonic_buffer_resource>(kTablesOfOneTree).release();
    return memory;
}

/// A longer word is not cut: it runs into what follows.
std::string inField(std::string_view word) {
    std::string field(word);
    field.resize(std::max(field.size(), kFieldWidth), ' ');
    return field;
}

void printRow(std::string_view word, std::string_view text) {
    output::printLine(stdout, {"\t", inField(word), text});
}

void printEmptyLine() {
    output::printLine(stdout, {});
}

}  // namespace

CommandBase::CommandBase(std::string name, std::weak_ptr<CommandBase> parent)
    : parent_(std::move(parent)),
      name_(std::move(name)),
      commands_(tableMemory()),
      helpTexts_(tableMemory()),
      subCommands_(tableMemory()) {}

void CommandBase::initialize() {
    const auto parent = parent_.lock();
    const std::string_view parentPath = parent ? std::string_view(parent->path_) : std::string_view();
    path_.reserve(parentPath.size() + 1 + name_.size());
    path_.append(parentPath).append("/").append(name_);
    registerCommands();
}

void CommandBase::printHelp() {
    const auto lock = output::hold();
    printEmptyLine();
    output::printLine(stdout, {"Options for command '", name_, "':"});
    printEmptyLine();
    for (const auto& [word, handler] : commands_) {
        const auto helpText = helpTexts_.find(word);
        printRow(word, helpText == helpTexts_.end() ? "..." : helpText->second);
    }
    printEmptyLine();
    for (const auto& [word, child] : subCommands_) {
        printSubCommandTree(child, 0);
        printEmptyLine();
    }
    printRow("cd", "<sub-command>");
    printRow("help", "");
    printRow("back", "");
    printRow("quit", "");
    printEmptyLine();
}

void CommandBase::printSubCommandTree(const std::shared_ptr<CommandBase>& child, int depth) {
    if (!child->commands_.empty()) {
        std::string leaves = "[";
        for (const auto& [word, handler] : child->commands_) {
            leaves += word;
            leaves += '|';
        }
        leaves.back() = ']';
        const std::string indent(static_cast<std::size_t>(depth) * kFieldWidth, ' ');
        const std::string label = depth == 0 ? child->name_ : "<" + child->name_ + ">";
        output::printLine(stdout, {"\t", indent, inField(label), leaves});
    }
    for (const auto& [word, grandchild] : child->subCommands_) {
        printSubCommandTree(grandchild, depth + 1);
    }
}

void CommandBase::registerCommand(std::string_view word, CommandHandler handler, std::string_view helpText) {
    if (!handler) {
        return;
    }
    commands_.insert_or_assign(word, std::move(handler));
    if (!helpText.empty()) {
        helpTexts_.insert_or_assign(word, helpText);
    }
}

void CommandBase::registerSubCommand(std::string_view word, std::shared_ptr<CommandBase> child) {
    subCommands_.insert_or_assign(word, std::move(child));
}

std::shared_ptr<CommandBase> CommandBase::getSubCommand(std::string_view word) const {
    const auto found = subCommands_.find(word);
    return found == subCommands_.end() ? nullptr : found->second;
}

bool CommandBase::runCommand(std::string_view word, const Words& words) {
    const auto group = dispatch::group::create();
    const bool succeeded = commands_.at(word)(group, words);
    group.wait();
    return succeeded;
}
