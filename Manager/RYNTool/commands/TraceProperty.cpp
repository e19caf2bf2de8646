#include "commands/TraceProperty.h"

#include "commands/Payload.h"
#include "commands/RYNCommandBase.h"
#include "platform/ryn/constants.h"

namespace {

bool isComplete(const ryn::client::ManagerPtr& manager, const std::string& trace, const std::string& property) {
    return manager != nullptr && !trace.empty() && !property.empty();
}

void setTimeout(const xpc::Object& argument, std::int64_t timeout) {
    if (timeout != 0) {
        payload::set(argument, ryn::kKeyTimeout, payload::integer(timeout));
    }
}

}  // namespace

int getTraceProperty(const ryn::client::ManagerPtr& manager, const std::string& trace, const std::string& property,
                     std::string& value, std::int64_t timeout) {
    if (!isComplete(manager, trace, property)) {
        return kResultInvalidArgument;
    }
    const auto argument = payload::dictionary({
        {ryn::kKeyTraceName, payload::string(trace)},
        {ryn::kKeyTracePropertyName, payload::string(property)},
    });
    setTimeout(argument, timeout);
    xpc::Object reply;
    const int result = ryn::client::PerformCommand(manager, ryn::kCommandGetTraceProperty, argument, reply);
    if (result == 0 && reply.isDictionary()) {
        value = payload::readString(reply, ryn::kKeyTracePropertyValue);
    }
    return result;
}

int setTraceProperty(const ryn::client::ManagerPtr& manager, const std::string& trace, const std::string& property,
                     const std::string& value, std::int64_t timeout) {
    if (!isComplete(manager, trace, property)) {
        return kResultInvalidArgument;
    }
    const auto argument = payload::dictionary({
        {ryn::kKeyTraceName, payload::string(trace)},
        {ryn::kKeyTracePropertyName, payload::string(property)},
        {ryn::kKeyTracePropertyValue, payload::string(value)},
        {ryn::kKeyTracePropertyWaitForCompletion, payload::flag(true)},
    });
    setTimeout(argument, timeout);
    xpc::Object reply;
    return ryn::client::PerformCommand(manager, ryn::kCommandSetTraceProperty, argument, reply);
}
