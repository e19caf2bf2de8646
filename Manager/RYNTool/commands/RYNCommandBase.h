#pragma once

#include "commands/TraceProperty.h"
#include "platform/dispatch/Queue.h"
#include "platform/ryn/client.h"
#include "platform/ryn/constants.h"
#include "platform/xpc/Values.h"
#include "shell/CommandBase.h"

#include <memory>
#include <span>
#include <string>

using Group = dispatch::group;

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
    Answer perform(const std::string& command, const xpc::Object& argument = xpc::null()) const;

    /// A leaf that a member function of the group runs: `registerLeaf<&ModemCommand::time>("time", "current baseband time");`.
    template <auto run>
    void registerLeaf(Literal word, Literal helpText) {
        registerCommand(word, helpText, [this](const Group& group, const Words& words) { return call(run, group, words); });
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
    /// Creates the groups below this one, with this node's manager and queue, and attaches them.
    void registerChildren();

private:
    template <typename Command>
    bool call(bool (Command::*run)(const Group&, const Words&), const Group& group, const Words& words) {
        return (static_cast<Command*>(this)->*run)(group, words);
    }

    ryn::client::ManagerPtr manager_;
    dispatch::Queue queue_;
};

/// What a group's factory is: `NodeFactory* const createStatsCommand = create<StatsCommand>;`.
template <typename Command>
std::shared_ptr<CommandBase> create(const std::string& name, const std::weak_ptr<CommandBase>& parent,
                                    const ryn::client::ManagerPtr& manager, dispatch_queue_t queue) {
    return createNode<Command>(name, parent, manager, queue);
}

/// Print one line and return what a handler returns then: success on standard output, failure on standard error
/// unless `stream` says otherwise.
bool succeed(output::Parts line);
bool fail(output::Parts line, output::Stream stream = output::Stream::Error);

/// The string under `key`; the text of `ryn::kUnknown` when it is absent, no string, or `reply` no dictionary.
std::string readString(const xpc::Object& reply, const char* key);
/// The integer under `key` as a signed 32-bit number; `fallback` when it is absent, no integer, or `reply` no dictionary.
std::int32_t readInteger(const xpc::Object& reply, const char* key, std::int32_t fallback);

/// The number that the word begins with; 0 when it begins with none.
std::int64_t numberOf(const std::string& word, int base = 10);

/// "Success" for 0, else "Failed".
const char* verdict(int result);

/// Prints a failed command's reply on standard error when it is a dictionary.
void printErrorDetail(const xpc::Object& reply);

/// `reply` when it is a dictionary, else nothing.
xpc::Object dictionaryOrNothing(xpc::Object reply);
