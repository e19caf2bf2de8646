#pragma once

#include "platform/dispatch/dispatch.h"
#include "platform/xpc/Object.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// The baseband manager's client library.
///
/// All operations may be called from any thread and never throw. Results are signed 32-bit integers: 0 is success, any
/// other value failure. With a result that the library made itself the reply is a dictionary of `kKeyErrorCode` and
/// `kKeyErrorString`. Completions and events run on the queue that the manager was created with; asynchronous replies and
/// events are received by the thread that is parked in CFRunLoopRun.
namespace ryn::client {

class Manager;
using ManagerPtr = std::shared_ptr<Manager>;

/// The connection ended between the request and its reply.
inline constexpr auto kResultConnectionLost = static_cast<std::int32_t>(0xE020E011);
inline constexpr auto kResultTimedOut = static_cast<std::int32_t>(0xE020E012);

/// Runs exactly once: with the manager's reply, or with a library result. The reply is empty when there was none.
using Completion = std::function<void(int result, xpc::Object reply)>;
/// The payload is empty when the event carried none.
using EventHandler = std::function<void(xpc::Object payload)>;

/// Never fails and never blocks: an unreachable manager shows in the result of each command.
/// @param queue retained for the manager's lifetime.
ManagerPtr CreateManager(const std::string& clientName, dispatch_queue_t queue);

/// Sends and waits for the reply. `reply` is left untouched when the manager's answer carries no object.
int PerformCommand(ManagerPtr manager, const std::string& command, const xpc::Object& argument, xpc::Object& reply);
/// Sends and returns; `completion` runs on the queue and is disposed of there. While the manager takes no request, sending waits
/// for it, at most as long as the command would wait for its reply.
void PerformCommand(ManagerPtr manager, const std::string& command, Completion completion, const xpc::Object& argument);

using FailureHandler = std::function<void(const std::string& sentence)>;
/// From now on `handler` runs with the sentence of each command that fails, before its caller or its completion knows: on the
/// thread that waits for the command, or on the queue.
void SetFailureHandler(ManagerPtr manager, FailureHandler handler);

/// Adds a handler for an event name; the manager keeps it for its lifetime.
void RegisterEventHandler(ManagerPtr manager, const std::string& event, EventHandler handler);
/// Events are off at first. While they are on, a lost connection is made again in the background.
void EventsOn(ManagerPtr manager);
void EventsOff(ManagerPtr manager);

/// Collects the manager's trace logs into a new folder.
void CollectTraceLogs(ManagerPtr manager, const std::string& reason, Completion completion);
/// @param value a 64-bit integer, or the null object for the filter's default.
int AddTraceFilter(ManagerPtr manager, const std::string& filter, const xpc::Object& value);
int RemoveTraceFilter(ManagerPtr manager, const std::string& filter);
/// @param filters receives a dictionary of filter names and 64-bit integers.
int GetTraceFilters(ManagerPtr manager, xpc::Object& filters);

}  // namespace ryn::client
