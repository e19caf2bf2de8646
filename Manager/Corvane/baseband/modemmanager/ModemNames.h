#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

/// ModemManager's words for its numbers, as mmcli(1) shows them; "unknown" for a number without one.
namespace corvane::modemmanager {

std::string_view stateName(std::int64_t state);
std::string_view failedReasonName(std::int64_t reason);
std::string_view powerStateName(std::int64_t state);
std::string_view lockName(std::int64_t lock);
std::string_view registrationName(std::int64_t state);
std::string_view packetServiceName(std::int64_t state);
std::string_view bandName(std::int64_t band);
/// One for each bit that is set and has a name.
std::vector<std::string_view> accessTechnologyNames(std::int64_t technologies);

}  // namespace corvane::modemmanager
