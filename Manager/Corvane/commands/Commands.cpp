#include "Corvane/commands/Commands.h"

namespace corvane {

void addAllCommands(Dispatcher& dispatcher) {
    addBasebandCommands(dispatcher);
    addTraceCommands(dispatcher);
}

}  // namespace corvane
