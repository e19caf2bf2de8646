#pragma once

#include "platform/xpc/Object.h"

#include <string>

namespace corvane {

/// Figures in the text format of Prometheus. Those that `figures` lacks, because the baseband doesn't count them, are left out.
/// @param figures the statistics, with "State" and "Traces" besides
std::string metricsText(const xpc::Object& figures);

}  // namespace corvane
