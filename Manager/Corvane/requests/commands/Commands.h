#pragma once

#include <initializer_list>

namespace corvane {

class Dispatcher;

void addBasebandCommands(Dispatcher& dispatcher);
void addPowerCommands(Dispatcher& dispatcher);
void addStatisticsCommands(Dispatcher& dispatcher);
void addTraceCommands(Dispatcher& dispatcher);
void addTraceLogCommands(Dispatcher& dispatcher);

/// Every command that the manager serves.
inline void addAllCommands(Dispatcher& dispatcher) {
    for (const auto add : {addBasebandCommands, addPowerCommands, addStatisticsCommands, addTraceCommands, addTraceLogCommands}) {
        add(dispatcher);
    }
}

}  // namespace corvane
