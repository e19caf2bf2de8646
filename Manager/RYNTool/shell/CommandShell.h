#pragma once

#include "shell/CommandBase.h"
#include "shell/LineReader.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Runs command lines against a tree of nodes: the program's own words once, or without words, lines read at a prompt.
///
/// Everything runs on the thread that calls `run`. Nothing is retried; there is no line editing or history.
class CommandShell {
public:
    CommandShell() = default;
    virtual ~CommandShell() = default;
    CommandShell(const CommandShell&) = delete;
    CommandShell& operator=(const CommandShell&) = delete;

    /// @return the root node; empty when it can't be made.
    virtual std::shared_ptr<CommandBase> createRootCommand(const Words& words) = 0;

    /// The whole life of the shell.
    /// @param words the program's arguments, its own name first.
    /// @return true after "quit" or "exit", or when every command of the arguments succeeded; false when output was lost.
    bool run(Words words);

    /// The words of a line: runs of characters between white space. There are no quotes and no escapes.
    static Words tokenize(std::string_view line);
    /// The commands between words "--"; empty ones are dropped.
    static std::vector<Words> splitCommands(Words words);
    /// The components between separators or white space; empty ones are dropped.
    static std::vector<std::string> splitPath(std::string text, char separator);
    /// "cd": walks down a path of children and ".." from the current node, and moves the prompt there.
    /// @return false unless there is exactly one argument and every component exists; the current node may have moved.
    bool changeNode(const Words& arguments);

private:
    enum class Result { Succeeded, Failed, Quit };

    bool isInteractive() const { return location_ != nullptr; }
    /// Prompts and reads. @return nullopt at the end of input.
    std::optional<std::string> readLine();
    Result runCommand(const Words& command);
    /// What a word means where the current node has neither leaf nor child of that name.
    Result runBuiltIn(const std::string& word, bool isLastWord, bool isOnlyWord);
    Result refuse(const std::string& word);

    LineReader input_;
    std::shared_ptr<CommandBase> root_;
    /// Where the prompt stands; empty when the words came from the program's arguments.
    std::shared_ptr<CommandBase> location_;
    /// Where the words of the running command are looked up.
    std::shared_ptr<CommandBase> current_;
};
