#include "platform/ryn/client.h"
#include "Client/Manager.h"
#include "platform/ryn/constants.h"
#include "platform/xpc/Values.h"

#include <algorithm>
#include <utility>

namespace ryn::client {
namespace {

int perform(Manager& manager, const char* command, const xpc::Object& argument) {
    xpc::Object ignored;
    return manager.perform(command, argument, ignored, timeoutOf(command, argument));
}

}  // namespace

std::chrono::seconds timeoutOf(std::string_view command, const xpc::Object& argument) {
    constexpr std::chrono::seconds kAllowance{5};  // for the way
    const std::chrono::seconds asked(xpc::numberAt(argument, kKeyTimeout).value_or(0));
    if (asked.count() > 0) {
        return std::min(asked, kLongestTimeout) + kAllowance;
    }
    const bool isLong = command == request::kCollectTraceLogs || command == kCommandBasebandDiagnostics;
    return std::chrono::seconds(isLong ? 300 : 60);
}

// The library's interface takes the manager by shared pointer, copied for the call.
// NOLINTBEGIN(performance-unnecessary-value-param)

ManagerPtr CreateManager(const std::string& clientName, dispatch_queue_t queue) {
    auto manager = std::make_shared<Manager>(clientName, queue);
    platform::addToRunLoop(manager);
    return manager;
}

int PerformCommand(ManagerPtr manager, const std::string& command, const xpc::Object& argument, xpc::Object& reply) {
    return manager->perform(command, argument, reply, timeoutOf(command, argument));
}

void PerformCommand(ManagerPtr manager, const std::string& command, Completion completion, const xpc::Object& argument) {
    manager->perform(command, argument, std::move(completion), timeoutOf(command, argument));
}

void RegisterEventHandler(ManagerPtr manager, const std::string& event, EventHandler handler) {
    manager->addEventHandler(event, std::move(handler));
}

void SetFailureHandler(ManagerPtr manager, FailureHandler handler) {
    manager->setFailureHandler(std::move(handler));
}

void EventsOn(ManagerPtr manager) {
    manager->setEvents(true);
}

void EventsOff(ManagerPtr manager) {
    manager->setEvents(false);
}

void CollectTraceLogs(ManagerPtr manager, const std::string& reason, Completion completion) {
    PerformCommand(std::move(manager), request::kCollectTraceLogs, std::move(completion),
                   xpc::dictionary({{request::kKeyTraceLogsReason, xpc::text(reason)}}));
}

int AddTraceFilter(ManagerPtr manager, const std::string& filter, const xpc::Object& value) {
    const xpc::Object given = value ? value : xpc::null();
    return perform(*manager, request::kAddTraceFilter,
                   xpc::dictionary({{request::kKeyTraceFilterName, xpc::text(filter)}, {request::kKeyTraceFilterValue, given}}));
}

int RemoveTraceFilter(ManagerPtr manager, const std::string& filter) {
    return perform(*manager, request::kRemoveTraceFilter, xpc::dictionary({{request::kKeyTraceFilterName, xpc::text(filter)}}));
}

int GetTraceFilters(ManagerPtr manager, xpc::Object& filters) {
    return PerformCommand(std::move(manager), request::kGetTraceFilters, xpc::null(), filters);
}

// NOLINTEND(performance-unnecessary-value-param)

}  // namespace ryn::client
