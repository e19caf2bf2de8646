#pragma once

#include "platform/dispatch/dispatch.h"
#include "platform/ryn/client.h"
#include "platform/xpc/Object.h"
#include "shell/CommandBase.h"

#include <cstdint>
#include <memory>
#include <string>

/// The result of arguments that the tool refuses itself. Never sent, never printed.
inline constexpr int kResultInvalidArgument = static_cast<std::int32_t>(0xE020E002);

/// Base of every node that talks to the baseband manager: holds the client and the tool's queue for its lifetime.
///
/// A handler of such a node returns true exactly when the result that it judged is 0, unless its own comment says otherwise.
class RYNCommandBase : public CommandBase {
public:
    /// @param queue retained until destruction.
    RYNCommandBase(std::string name, std::weak_ptr<CommandBase> parent, ryn::client::ManagerPtr manager, dispatch_queue_t queue);
    ~RYNCommandBase() override;
    RYNCommandBase(const RYNCommandBase&) = delete;
    RYNCommandBase& operator=(const RYNCommandBase&) = delete;

protected:
    /// What the manager answered to a command.
    struct Answer {
        int result;          ///< 0 for success
        xpc::Object reply;   ///< a dictionary; empty when the manager sent none
        bool carriedObject;  ///< whether the manager sent a reply object of any kind
        bool succeeded() const { return result == 0; }
        /// Success with a dictionary to read.
        bool isReadable() const { return succeeded() && reply; }
    };

    const ryn::client::ManagerPtr& manager() const { return manager_; }

    /// Sends a command and waits for its answer.
    Answer perform(const std::string& command, const xpc::Object& argument) const;
    /// The same for a command that takes no argument.
    Answer perform(const std::string& command) const;

    /// Creates a child that works with this node's manager and queue, with all that is under it, and attaches it.
    template <typename Child>
    void registerChild(const char* word) {
        registerSubCommand(word, createNode<Child>(word, weak_from_this(), manager_, queue_));
    }

private:
    ryn::client::ManagerPtr manager_;
    dispatch_queue_t queue_;
};

/// "Success" for 0, else "Failed".
const char* verdict(int result);

/// Prints a failed command's reply on standard error when it is a dictionary.
void printErrorDetail(const xpc::Object& reply);

/// `reply` when it is a dictionary, else nothing.
xpc::Object dictionaryOrNothing(xpc::Object reply);
