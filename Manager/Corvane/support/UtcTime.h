#pragma once

#include <chrono>
#include <string>

namespace corvane {

/// Now, as strftime(3) formats it in UTC.
std::string utcTime(const char* format);
/// Now, with milliseconds: "2026-11-01T12:34:56.789Z".
std::string utcTimeStamp();
std::string utcTimeStamp(std::chrono::system_clock::time_point time);

}  // namespace corvane
