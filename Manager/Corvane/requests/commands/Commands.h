#pragma once

namespace corvane {

class Dispatcher;

/// Every command that the manager serves.
void addAllCommands(Dispatcher& dispatcher);

void addBasebandCommands(Dispatcher& dispatcher);
void addPowerCommands(Dispatcher& dispatcher);
void addStatisticsCommands(Dispatcher& dispatcher);
void addTraceCommands(Dispatcher& dispatcher);
void addTraceLogCommands(Dispatcher& dispatcher);

}  // namespace corvane
