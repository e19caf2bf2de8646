#pragma once

#include "shell/WordTable.h"
#include "shell/group.h"

#include <forward_list>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The words of one command. A leaf's handler receives those behind its own word.
using Words = std::vector<std::string>;

/// Runs a leaf. A handler whose work goes on after it has returned enters the group and leaves it at the work's end.
/// @return whether the command succeeded, as far as is known when the handler returns.
using CommandHandler = std::function<bool(dispatch::group group, Words words)>;

/// A text that the compiler knows: a literal, as a rule.
struct Literal {
    consteval Literal(const char* literal) : text(literal) {}
    std::string_view text;
};

/// A node of the command tree: leaves (a word bound to a handler and a help text) and further nodes.
///
/// A node is owned by its parent and knows it weakly. Make one with `createNode`. Its tables are filled during `initialize`
/// and only read afterwards; everything here runs on the shell's thread.
class CommandBase : public std::enable_shared_from_this<CommandBase> {
public:
    /// @param parent empty for the root.
    CommandBase(std::string name, std::weak_ptr<CommandBase> parent);
    virtual ~CommandBase() = default;
    CommandBase(const CommandBase&) = delete;
    CommandBase& operator=(const CommandBase&) = delete;

    /// Computes the path and registers leaves and children. Once, when a shared pointer owns the node.
    virtual void initialize();
    /// Prints this node's help page on standard output.
    virtual void printHelp();

    /// An empty handler is ignored. A word registered again gets the new handler, and the new help text unless that is empty.
    void registerCommand(const std::string& word, CommandHandler handler, const std::string& helpText);
    /// The same for texts written in the source: they live as long as the program, and no copy is made at its start.
    void registerCommand(Literal word, Literal helpText, CommandHandler handler);
    /// Replaces an earlier child of that word.
    void registerSubCommand(const std::string& word, std::shared_ptr<CommandBase> child);

    /// Empty when there is no such child.
    std::shared_ptr<CommandBase> getSubCommand(const std::string& word) const;
    bool hasSubCommand(const std::string& word) const { return subCommands_.find(word) != nullptr; }
    bool hasCommand(const std::string& word) const { return commands_.find(word) != nullptr; }
    /// Runs the leaf `word`, which exists, and waits without limit for all that it started.
    /// @return what the handler returned.
    bool runCommand(const std::string& word, const Words& words);

    std::string getPath() const { return path_; }
    std::weak_ptr<CommandBase> getParent() const { return parent_; }

protected:
    virtual void registerCommands() = 0;

private:
    struct Command {
        CommandHandler handler;
        std::string_view helpText;  ///< may be empty
    };

    /// @param handler taken over
    void enterCommand(std::string_view word, CommandHandler& handler, std::string_view helpText);
    /// Prints the leaves of a child as one line, when it has any, then its own children one level deeper.
    void printSubCommandTree(const std::shared_ptr<CommandBase>& child, int depth);

    std::weak_ptr<CommandBase> parent_;
    std::string name_;
    std::string path_;
    WordTable<std::string_view, Command> commands_;
    std::forward_list<std::string> copies_;  ///< of texts that may not live as long as the node
    WordTable<std::string, std::shared_ptr<CommandBase>> subCommands_;
};

/// Makes a node: `initialize` hands out shared pointers to it, so it runs once one owns it.
template <typename Node, typename... Arguments>
std::shared_ptr<Node> createNode(Arguments&&... arguments) {
    auto node = std::make_shared<Node>(std::forward<Arguments>(arguments)...);
    node->initialize();
    return node;
}
