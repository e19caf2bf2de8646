#pragma once

#include "platform/xpc/Object.h"

#include <string>

namespace corvane {

/// Figures in the text format of Prometheus. Those that `figures` lacks, because the baseband doesn't count them, are left out.
/// @param figures the statistics, with "State" and "Traces" besides
/// @param socket the manager's, a label of each: several managers may have their files in one folder
std::string metricsText(const xpc::Object& figures, const std::string& socket);

}  // namespace corvane
