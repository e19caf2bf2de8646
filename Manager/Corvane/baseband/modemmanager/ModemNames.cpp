#include "Corvane/baseband/modemmanager/ModemNames.h"

#include <ModemManager.h>

#include <bit>
#include <cstddef>

namespace corvane::modemmanager {
namespace {

struct Name {
    std::int64_t number;
    std::string_view name;
};

#include "ModemManagerTables.inc"

template <std::size_t size>
std::string_view nameIn(const Name (&names)[size], std::int64_t number) {
    for (const Name& entry : names) {
        if (entry.number == number) {
            return entry.name;
        }
    }
    return "unknown";
}

}  // namespace

std::string_view stateName(std::int64_t state) {
    return nameIn(k_state, state);
}

std::string_view failedReasonName(std::int64_t reason) {
    return nameIn(k_state_failed_reason, reason);
}

std::string_view powerStateName(std::int64_t state) {
    return nameIn(k_power_state, state);
}

std::string_view lockName(std::int64_t lock) {
    return nameIn(k_lock, lock);
}

std::string_view registrationName(std::int64_t state) {
    return nameIn(k_3gpp_registration_state, state);
}

std::string_view packetServiceName(std::int64_t state) {
    return nameIn(k_3gpp_packet_service_state, state);
}

std::string_view bandName(std::int64_t band) {
    return nameIn(k_band, band);
}

std::vector<std::string_view> accessTechnologyNames(std::int64_t technologies) {
    std::vector<std::string_view> names;
    for (const Name& entry : k_access_technology) {
        if (std::has_single_bit(static_cast<std::uint64_t>(entry.number)) && (entry.number & technologies) != 0) {
            names.push_back(entry.name);
        }
    }
    return names;
}

}  // namespace corvane::modemmanager
