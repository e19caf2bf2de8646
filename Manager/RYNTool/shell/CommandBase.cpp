#include "shell/CommandBase.h"

#include "shell/Output.h"

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <string_view>

namespace {

constexpr std::size_t kFieldWidth = 18;

/// A longer word is not cut: it runs into what follows.
std::string inField(std::string_view word) {
    std::string field(word);
    field.resize(std::max(field.size(), kFieldWidth), ' ');
    return field;
}

void printRow(std::string_view word, std::string_view text) {
    output::printLine(std::cout, {"\t", inField(word), text});
}

void printEmptyLine() {
    output::printLine(std::cout, {});
}

}  // namespace

void CommandBase::initialize() {
    if (const auto parent = parent_.lock()) {
        path_ = parent->path_;
    }
    path_ += "/";
    path_ += name_;
    registerCommands();
}

void CommandBase::printHelp() {
    const auto lock = output::hold();
    printEmptyLine();
    output::printLine(std::cout, {"Options for command '", name_, "':"});
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
        output::printLine(std::cout, {"\t", indent, inField(label), leaves});
    }
    for (const auto& [word, grandchild] : child->subCommands_) {
        printSubCommandTree(grandchild, depth + 1);
    }
}

void CommandBase::registerCommand(const std::string& word, CommandHandler handler, const std::string& helpText) {
    if (!handler) {
        return;
    }
    commands_.insert_or_assign(word, std::move(handler));
    if (!helpText.empty()) {
        helpTexts_.insert_or_assign(word, helpText);
    }
}

void CommandBase::registerSubCommand(const std::string& word, std::shared_ptr<CommandBase> child) {
    subCommands_.insert_or_assign(word, std::move(child));
}

std::shared_ptr<CommandBase> CommandBase::getSubCommand(const std::string& word) const {
    const auto found = subCommands_.find(word);
    return found == subCommands_.end() ? nullptr : found->second;
}

bool CommandBase::runCommand(const std::string& word, const Words& words) {
    const auto group = dispatch::group::create();
    const bool succeeded = commands_.at(word)(group, words);
    group.wait();
    return succeeded;
}
