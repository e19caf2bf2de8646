#include "commands/RYNCommandBase.h"

#include "commands/Groups.h"
#include "platform/vsk/SorvexUtil.h"
#include "shell/Output.h"

#include <cstdlib>

RYNCommandBase::RYNCommandBase(std::string name, std::weak_ptr<CommandBase> parent, ryn::client::ManagerPtr manager,
                               dispatch_queue_t queue)
    : CommandBase(std::move(name), std::move(parent)), manager_(std::move(manager)), queue_(queue) {}

std::string RYNCommandBase::Answer::text(const char* key) const {
    return succeeded() ? readString(reply, key) : ryn::kUnknown;
}

RYNCommandBase::Answer RYNCommandBase::perform(const std::string& command, const xpc::Object& argument) const {
    xpc::Object reply;
    const int result = ryn::client::PerformCommand(manager_, command, argument, reply);
    const bool carriedObject = static_cast<bool>(reply);
    return {result, dictionaryOrNothing(std::move(reply)), carriedObject};
}

void RYNCommandBase::registerChildren() {
    const std::string path = getPath();
    for (const GroupPlace& group : kGroups) {
        if (group.parent == path) {
            registerSubCommand(group.word, (*group.create)(group.word, weak_from_this(), manager_, queue_.get()));
        }
    }
}

bool RYNCommandBase::failWithHelp() {
    printHelp();
    return false;
}

RYNCommandBase::Answer RYNCommandBase::requestReset(const std::string& type, const std::string& reason) const {
    return perform(ryn::kCommandResetBaseband,
                   xpc::dictionary({
                       {ryn::kKeyBasebandResetType, xpc::text(type)},
                       {ryn::kKeyBasebandResetSubType, xpc::text(ryn::kBasebandResetSubTypeUserTriggered)},
                       {ryn::kKeyBasebandResetReason, xpc::text("[ryntool] " + reason)},
                   }));
}

bool succeed(output::Parts line) {
    output::printLine(line);
    return true;
}

bool fail(output::Parts line, output::Stream stream) {
    output::printLine(line, stream);
    return false;
}

std::string readString(const xpc::Object& reply, const char* key) {
    return xpc::textAt(reply, key).value_or(ryn::kUnknown);
}

std::int32_t readInteger(const xpc::Object& reply, const char* key, std::int32_t fallback) {
    return vsk::toInt32(xpc_dictionary_get_value(reply.get(), key), fallback);
}

std::int64_t numberOf(const std::string& word, int base) {
    return std::strtoll(word.c_str(), nullptr, base);  // a `long` is narrower on some machines
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
