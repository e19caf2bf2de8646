#pragma once

#include "Corvane/baseband/RFSelfTest.h"

#include <string>

namespace corvane::simulated {

enum class Port { A, B };
inline constexpr std::size_t kPorts = static_cast<std::size_t>(Port::B) + 1;

/// Measures one channel at one port into `result`, with the deviations that the unit's calibration has left: the same front end
/// measures the same again.
void measure(const RFSelfTestOptions& options, std::uint64_t calibrationSeed, Port port, std::size_t channel,
             RFSelfTestResult& result);

/// Makes of a measurement what a broken path to the antenna leaves of it.
void breakPath(Port port, std::size_t channel, RFSelfTestResult& result);

/// Compares the measurements with the limits and notes what passed.
/// @return the first violation, and how many others there are, in a sentence; empty when there is none.
std::string judge(const RFSelfTestOptions& options, RFSelfTestResult& result);

}  // namespace corvane::simulated
