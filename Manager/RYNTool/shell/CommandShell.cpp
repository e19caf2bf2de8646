#include "shell/CommandShell.h"

#include "shell/Output.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr std::size_t kUsualWords = 4;

/// In the "C" locale, the only one that the tool runs in: blank, \t, \n, \v, \f and \r.
constexpr bool isWhiteSpace(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

}  // namespace

Words CommandShell::tokenize(std::string_view line) {
    Words words;
    words.reserve(kUsualWords);
    auto start = std::find_if_not(line.begin(), line.end(), isWhiteSpace);
    while (start != line.end()) {
        const auto end = std::find_if(start, line.end(), isWhiteSpace);
        words.emplace_back(start, end);
        start = std::find_if_not(end, line.end(), isWhiteSpace);
    }
    return words;
}

std::vector<Words> CommandShell::splitCommands(Words words) {
    std::vector<Words> commands;
    for (auto next = words.begin(); next != words.end();) {
        const auto end = std::find(next, words.end(), "--");
        if (next != end) {
            commands.emplace_back(std::move_iterator(next), std::move_iterator(end));
        }
        next = end == words.end() ? end : end + 1;
    }
    return commands;
}

std::vector<std::string> CommandShell::splitPath(std::string text, char separator) {
    std::replace(text.begin(), text.end(), separator, ' ');
    return tokenize(text);
}

bool CommandShell::changeNode(const Words& arguments) {
    if (arguments.size() != 1) {
        return false;
    }
    for (const std::string& component : splitPath(arguments.front(), '/')) {
        if (auto child = current_->getSubCommand(component)) {
            current_ = std::move(child);
        } else if (component != "..") {
            return false;
        } else if (auto parent = current_->getParent().lock()) {
            current_ = std::move(parent);
        }
    }
    if (isInteractive()) {
        location_ = current_;
    }
    return true;
}

bool CommandShell::run(Words words) {
    root_ = createRootCommand(words);
    if (!root_) {
        return false;
    }
    current_ = root_;
    if (!words.empty()) {
        words.erase(words.begin());
    }
    if (words.empty()) {
        location_ = root_;
    }

    std::vector<Words> commands = splitCommands(std::move(words));
    // Never set back: after a failure, a line runs no further than its first command.
    bool ok = true;
    for (;;) {
        for (const Words& command : commands) {
            const Result result = runCommand(command);
            if (result == Result::Quit) {
                output::flush();  // the prompt before it
                return !output::isLost();
            }
            current_ = isInteractive() ? location_ : root_;
            ok = ok && result == Result::Succeeded && !output::isLost();
            if (!ok) {
                break;
            }
        }
        if (!isInteractive()) {
            return ok;
        }
        const auto line = readLine();
        if (!line) {
            return false;
        }
        commands = splitCommands(tokenize(*line));
    }
}

std::optional<std::string> CommandShell::readLine() {
    output::print({"(", location_->getPath(), ")>> "});
    return input_.next();
}

CommandShell::Result CommandShell::runCommand(const Words& command) {
    for (auto word = command.begin(); word != command.end(); ++word) {
        const bool isLastWord = word + 1 == command.end();
        if (*word == "cd") {
            if (changeNode({word + 1, command.end()})) {
                return Result::Succeeded;
            }
            current_->printHelp();
            return Result::Failed;
        }
        if (current_->hasCommand(*word)) {
            return current_->runCommand(*word, {word + 1, command.end()}) ? Result::Succeeded : Result::Failed;
        }
        auto child = current_->getSubCommand(*word);
        if (!child) {
            return runBuiltIn(*word, isLastWord, command.size() == 1);
        }
        current_ = std::move(child);
    }
    // A node named with nothing under it: its help, and a failure.
    current_->printHelp();
    return Result::Failed;
}

CommandShell::Result CommandShell::runBuiltIn(const std::string& word, bool isLastWord, bool isOnlyWord) {
    if (word == "help" && isLastWord) {
        current_->printHelp();
        return Result::Succeeded;
    }
    if (!isOnlyWord) {
        return refuse(word);
    }
    if (word == "back") {
        if (auto parent = isInteractive() ? location_->getParent().lock() : nullptr) {
            location_ = std::move(parent);
        }
        return Result::Succeeded;
    }
    return word == "quit" || word == "exit" ? Result::Quit : refuse(word);
}

CommandShell::Result CommandShell::refuse(const std::string& word) {
    const auto lock = output::hold();
    output::printLine({});
    // The help page starts with the end of this line.
    output::print({"Invalid command option '", word, "'"});
    current_->printHelp();
    return Result::Failed;
}
