#pragma once

#include "commands/TraceProperty.h"
#include "platform/dispatch/Queue.h"
#include "platform/ryn/client.h"
#include "platform/xpc/Object.h"
#include "shell/CommandBase.h"

#include <memory>
#include <span>
#include <string>

using Group = dispatch::group;

/// A leaf of a group: its word, the member function that runs it, and its help text.
template <typename Command>
struct Leaf {
    Literal word;
    bool (Command::*run)(const Group& group, const Words& words);
    Literal helpText;
};

/// Makes a node and initialises it.
using NodeFactory = std::shared_ptr<CommandBase>(const std::string& name, const std::weak_ptr<CommandBase>& parent,
                                                 const ryn::client::ManagerPtr& manager, dispatch_queue_t queue);

/// Base of every node that talks to the baseband manager: holds the client and the tool's queue for its lifetime.
///
/// A handler of such a node returns true exactly when the result that it judged is 0, unless its own comment says otherwise.
class RYNCommandBase : public CommandBase {
public:
    /// @param queue retained until destruction
    RYNCommandBase(std::string name, std::weak_ptr<CommandBase> parent, ryn::client::ManagerPtr manager, dispatch_queue_t queue);

protected:
    /// What the manager answered to a command.
    struct Answer {
        int result;          ///< 0 for success
        xpc::Object reply;   ///< a dictionary; empty when the manager sent none
        bool carriedObject;  ///< whether the manager sent a reply object of any kind

        bool succeeded() const { return result == 0; }
        /// Success with a dictionary to read.
        bool isReadable() const { return succeeded() && reply; }
        /// The string under `key`; the text of `ryn::kUnknown` when there is none, or on failure.
        std::string text(const char* key) const;
    };

    const ryn::client::ManagerPtr& manager() const { return manager_; }

    /// Sends a command and waits for its answer. The null object stands for no argument.
    Answer perform(const std::string& command, const xpc::Object& argument) const;
    Answer perform(const std::string& command) const;

    /// @param leaves a table that lives as long as the program.
    template <typename Command>
    void registerLeaves(std::span<const Leaf<Command>> leaves) {
        for (const auto& leaf : leaves) {
            registerCommand(leaf.word, leaf.helpText,
                            [self = static_cast<Command*>(this), &leaf](const Group& group, const Words& words) {
                                return (self->*leaf.run)(group, words);
                            });
        }
    }
    /// Leaves that read or set one property of `trace` each. @param properties a table that lives as long as the program.
    template <const char* const& trace>
    void registerProperties(std::span<const TraceProperty> properties) {
        for (const TraceProperty& property : properties) {
            registerCommand(property.word, property.helpText, [this, &property](const Group&, const Words& words) {
                return runTraceProperty(manager_, trace, property, words);
            });
        }
    }
    /// Prints the help page. @return false
    bool failWithHelp();
    /// Asks for a reset that a user wants. @param type of ryn::kBasebandResetType
    Answer requestReset(const std::string& type, const std::string& reason) const;
    /// Creates a child that works with this node's manager and queue, and attaches it.
    void registerChild(const char* word, NodeFactory* create);

private:
    ryn::client::ManagerPtr manager_;
    dispatch::Queue queue_;
};

/// What a group's factory is: `NodeFactory* const createStatsCommand = create<StatsCommand>;`.
template <typename Command>
std::shared_ptr<CommandBase> create(const std::string& name, const std::weak_ptr<CommandBase>& parent,
                                    const ryn::client::ManagerPtr& manager, dispatch_queue_t queue) {
    return createNode<Command>(name, parent, manager, queue);
}

/// Print one line and return what a handler returns then: success on standard output, failure on standard error.
bool succeed(output::Parts line);
bool fail(output::Parts line);

/// The string under `key`; the text of `ryn::kUnknown` when it is absent, no string, or `reply` no dictionary.
std::string readString(const xpc::Object& reply, const char* key);
/// The integer under `key` as a signed 32-bit number; `fallback` when it is absent, no integer, or `reply` no dictionary.
std::int32_t readInteger(const xpc::Object& reply, const char* key, std::int32_t fallback);

/// "Success" for 0, else "Failed".
const char* verdict(int result);

/// Prints a failed command's reply on standard error when it is a dictionary.
void printErrorDetail(const xpc::Object& reply);

/// `reply` when it is a dictionary, else nothing.
xpc::Object dictionaryOrNothing(xpc::Object reply);
