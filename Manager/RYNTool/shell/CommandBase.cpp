#include "shell/CommandBase.h"

#include "shell/Output.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t kFieldWidth = 18;

/// A longer word is not cut: it runs into what follows.
std::string inField(std::string_view word) {
    std::string field(word);
    field.resize(std::max(field.size(), kFieldWidth), ' ');
    return field;
}

void printRow(std::string_view word, std::string_view text) {
    output::printLine({"\t", inField(word), text});
}

}  // namespace

CommandBase::CommandBase(std::string name, std::weak_ptr<CommandBase> parent)
    : parent_(std::move(parent)), name_(std::move(name)) {}

void CommandBase::initialize() {
    const auto parent = parent_.lock();
    const std::string_view parentPath = parent ? std::string_view(parent->path_) : std::string_view();
    path_.reserve(parentPath.size() + 1 + name_.size());
    path_.append(parentPath).append("/").append(name_);
    registerCommands();
}

void CommandBase::printHelp() {
    const auto lock = output::hold();
    output::printLine({});
    output::printLine({"Options for command '", name_, "':"});
    output::printLine({});
    for (const auto& [word, leaf] : commands_.ordered()) {
        printRow(word, leaf.helpText.empty() ? "..." : leaf.helpText);
    }
    output::printLine({});
    for (const auto& [word, child] : subCommands_.ordered()) {
        printSubCommandTree(child, 0);
        output::printLine({});
    }
    printRow("cd", "<sub-command>");
    printRow("help", "");
    printRow("back", "");
    printRow("quit", "");
    output::printLine({});
}

void CommandBase::printSubCommandTree(const std::shared_ptr<CommandBase>& child, int depth) {
    if (!child->commands_.empty()) {
        std::string leaves = "[";
        for (const auto& [word, leaf] : child->commands_.ordered()) {
            leaves.append(word).append("|");
        }
        leaves.back() = ']';
        const std::string indent(static_cast<std::size_t>(depth) * kFieldWidth, ' ');
        const std::string label = depth == 0 ? child->name_ : "<" + child->name_ + ">";
        output::printLine({"\t", indent, inField(label), leaves});
    }
    for (const auto& [word, grandchild] : child->subCommands_.ordered()) {
        printSubCommandTree(grandchild, depth + 1);
    }
}

void CommandBase::registerCommand(const std::string& word, CommandHandler handler, const std::string& helpText) {
    enterCommand(copies_.emplace_front(word), handler, copies_.emplace_front(helpText));
}

void CommandBase::registerCommand(Literal word, Literal helpText, CommandHandler handler) {
    enterCommand(word.text, handler, helpText.text);
}

void CommandBase::enterCommand(std::string_view word, CommandHandler& handler, std::string_view helpText) {
    if (!handler) {
        return;
    }
    Command& command = commands_[word];
    command.handler = std::move(handler);
    if (!helpText.empty()) {
        command.helpText = helpText;
    }
}

void CommandBase::registerSubCommand(const std::string& word, std::shared_ptr<CommandBase> child) {
    subCommands_[word] = std::move(child);
}

std::shared_ptr<CommandBase> CommandBase::getSubCommand(const std::string& word) const {
    const auto* const child = subCommands_.find(word);
    return child == nullptr ? nullptr : *child;
}

bool CommandBase::runCommand(const std::string& word, const Words& words) {
    const auto group = dispatch::group::create();
    const bool succeeded = commands_.find(word)->handler(group, words);
    group.wait();
    return succeeded;
}
