#pragma once

#include "platform/ryn/client.h"

#include <functional>

namespace ryn::client {

/// Adds a handler that runs on the manager's queue each time that a connection has been made: what its owner knew of the manager
/// may be out of date then. For services that follow the manager; the manager keeps it for its lifetime.
void RegisterConnectionHandler(ManagerPtr manager, std::function<void()> handler);

}  // namespace ryn::client
