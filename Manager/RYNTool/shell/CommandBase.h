#pragma once

#include "shell/WordTable.h"
#include "shell/Words.h"
#include "shell/group.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

/// Runs a leaf. A handler whose work goes on after it has returned enters the group and leaves it at the work's end.
/// @return whether the command succeeded, as far as is known when the handler returns.
using CommandHandler = std::function<bool(dispatch::group group, Words words)>;

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
    /// The texts are not copied: they live as long as the node, as literals do.
    void registerCommand(std::string_view word, CommandHandler handler, std::string_view helpText);
    /// Replaces an earlier child of that word, which lives as long as the node.
    void registerSubCommand(std::string_view word, std::shared_ptr<CommandBase> child);

    /// Empty when there is no such child.
    std::shared_ptr<CommandBase> getSubCommand(std::string_view word) const;
    bool hasSubCommand(std::string_view word) const { return subCommands_.contains(word); }
    bool hasCommand(std::string_view word) const { return commands_.contains(word); }
    /// Runs the leaf `word`, which exists, and waits without limit for all that it started.
    /// @return what the handler returned.
    bool runCommand(std::string_view word, const Words& words);

    std::string getPath() const { return path_; }
    std::weak_ptr<CommandBase> getParent() const { return parent_; }

protected:
    virtual void registerCommands() = 0;

private:
    struct Leaf {
        CommandHandler handler;
        std::string_view helpText;  ///< may be empty
    };

    /// Prints the leaves of a child as one line, when it has any, then its own children one level deeper.
    void printSubCommandTree(const std::shared_ptr<CommandBase>& child, int depth);

    std::weak_ptr<CommandBase> parent_;
    std::string name_;
    std::string path_;
    WordTable<Leaf> commands_;
    WordTable<std::shared_ptr<CommandBase>> subCommands_;
};

/// Makes a node: `initialize` hands out shared pointers to it, so it runs once one owns it.
template <typename Node, typename... Arguments>
std::shared_ptr<Node> createNode(Arguments&&... arguments) {
    auto node = std::make_shared<Node>(std::forward<Arguments>(arguments)...);
    node->initialize();
    return node;
}
