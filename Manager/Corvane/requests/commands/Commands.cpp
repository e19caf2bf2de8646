#include "Corvane/requests/commands/Commands.h"

namespace corvane {

void addAllCommands(Dispatcher& dispatcher) {
    addBasebandCommands(dispatcher);
    addPowerCommands(dispatcher);
    addStatisticsCommands(dispatcher);
    addTraceCommands(dispatcher);
    addTraceLogCommands(dispatcher);
}

}  // namespace corvane
