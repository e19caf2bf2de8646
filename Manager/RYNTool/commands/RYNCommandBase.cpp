#include "commands/RYNCommandBase.h"

#include "commands/Payload.h"
#include "shell/Output.h"

RYNCommandBase::RYNCommandBase(std::string name, std::weak_ptr<CommandBase> parent, ryn::client::ManagerPtr manager,
                               dispatch_queue_t queue)
    : CommandBase(std::move(name), std::move(parent)), manager_(std::move(manager)), queue_(queue) {
    dispatch_retain(queue_);
}

RYNCommandBase::~RYNCommandBase() {
    dispatch_release(queue_);
}

RYNCommandBase::Answer RYNCommandBase::perform(const std::string& command, const xpc::Object& argument) const {
    xpc::Object reply;
    const int result = ryn::client::PerformCommand(manager_, command, argument, reply);
    const bool carriedObject = static_cast<bool>(reply);
    return {result, dictionaryOrNothing(std::move(reply)), carriedObject};
}

RYNCommandBase::Answer RYNCommandBase::perform(const std::string& command) const {
    return perform(command, payload::null());
}

const char* verdict(int result) {
    return result == 0 ? "Success" : "Failed";
}

void printErrorDetail(const xpc::Object& reply) {
    if (reply.isDictionary()) {
        output::printError({xpc::to_string(reply)});
    }
}

xpc::Object dictionaryOrNothing(xpc::Object reply) {
    return reply.isDictionary() ? std::move(reply) : xpc::Object();
}
