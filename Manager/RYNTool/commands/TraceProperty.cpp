#include "commands/TraceProperty.h"

#include "commands/RYNCommandBase.h"
#include "platform/xpc/Values.h"

#include <vector>

namespace {

/// @param value what to set the property to; nullptr to get it
int perform(const ryn::client::ManagerPtr& manager, const std::string& trace, const std::string& property,
            const std::string* value, std::int64_t timeout, xpc::Object& reply) {
    if (manager == nullptr || trace.empty() || property.empty()) {
        return kResultInvalidArgument;
    }
    const auto argument = xpc::dictionary({
        {ryn::kKeyTraceName, xpc::text(trace)},
        {ryn::kKeyTracePropertyName, xpc::text(property)},
    });
    if (value != nullptr) {
        xpc::set(argument, ryn::kKeyTracePropertyValue, xpc::text(*value));
        xpc::set(argument, ryn::kKeyTracePropertyWaitForCompletion, xpc::boolean(true));
    }
    if (timeout != 0) {
        xpc::set(argument, ryn::kKeyTimeout, xpc::number(timeout));
    }
    const char* const command = value == nullptr ? ryn::kCommandGetTraceProperty : ryn::kCommandSetTraceProperty;
    return ryn::client::PerformCommand(manager, command, argument, reply);
}

}  // namespace

int getTraceProperty(const ryn::client::ManagerPtr& manager, const std::string& trace, const std::string& property,
                     std::string& value, std::int64_t timeout) {
    xpc::Object reply;
    const int result = perform(manager, trace, property, nullptr, timeout, reply);
    if (result == 0 && reply.isDictionary()) {
        value = readString(reply, ryn::kKeyTracePropertyValue);
    }
    return result;
}

int setTraceProperty(const ryn::client::ManagerPtr& manager, const std::string& trace, const std::string& property,
                     const std::string& value, std::int64_t timeout) {
    xpc::Object ignored;
    return perform(manager, trace, property, &value, timeout, ignored);
}

bool runTraceProperty(const ryn::client::ManagerPtr& manager, const char* trace, const TraceProperty& property,
                      const Words& words) {
    if (property.access == TraceProperty::Access::ReadOnly && !words.empty()) {
        return fail({"Denied: Can't modify '", property.label, "'"}, property.failures);
    }
    if (words.size() > 1) {
        return fail({"Invalid value(s) passed for '", property.label, "'"}, property.failures);
    }
    std::string value = words.empty() ? "" : words.front();
    if (words.empty()) {
        if (getTraceProperty(manager, trace, property.name, value, 0) != 0) {
            return fail({"Failed to get '", property.label, "'", property.getSuffix}, property.failures);
        }
    } else if (setTraceProperty(manager, trace, property.name, value, 0) != 0) {
        return fail({"Failed to set '", property.label, "' to '", value, "'", property.unit}, property.failures);
    }
    return succeed({property.label, ": ", value, property.unit});
}

bool showTraceStatus(const ryn::client::ManagerPtr& manager, const char* trace, const TraceStatus& status) {
    std::vector<std::string> printed(status.lines.size());
    bool ok = true;
    bool isManagerGone = false;
    for (const auto& line : status.lines) {
        const bool isDecisive = &line < status.lines.data() + status.decisive;
        std::string value;
        if (isDecisive || !isManagerGone) {
            const int result = getTraceProperty(manager, trace, line.property, value, 0);
            ok = ok && (result == 0 || !isDecisive);
            isManagerGone =
                isManagerGone || result == ryn::client::kResultTimedOut || result == ryn::client::kResultConnectionLost;
        }
        printed.at(line.place).append(line.label).append(value).append(line.unit);
    }
    if (!ok) {
        return fail({"Failed to get status of ", status.subject}, status.failures);
    }
    for (const std::string& text : printed) {
        output::printLine({text});
    }
    return true;
}
