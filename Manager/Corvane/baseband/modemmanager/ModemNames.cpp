#include "Corvane/baseband/modemmanager/ModemNames.h"

#include "Corvane/baseband/modemmanager/ModemObjects.h"
#include "Corvane/support/Values.h"

#include <ModemManager.h>

#include <bit>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace corvane::modemmanager {
namespace {

struct Name {
    std::int64_t number;
    std::string_view name;
};
#include "ModemManagerTables.inc"

template <const auto& names>
std::string_view nameIn(std::int64_t number) {
    for (const Name& entry : names) {
        if (entry.number == number) {
            return entry.name;
        }
    }
    return "unknown";
}

template <const auto& names>
xpc::Object name(const xpc::Object& value) {
    return text(nameIn<names>(xpc_int64_get_value(value.get())));
}

template <const auto& names>
xpc::Object nameEach(const xpc::Object& values) {
    std::vector<xpc::Object> words;
    for (std::size_t i = 0; i < xpc_array_get_count(values.get()); ++i) {
        words.push_back(name<names>(xpc::Object::share(xpc_array_get_value(values.get(), i))));
    }
    return xpc::array(std::move(words));
}

template <const auto& names>
xpc::Object nameKeys(const xpc::Object& values) {
    xpc::Object byName = dictionary({});
    xpc_dictionary_apply(values.get(), [&](const char* key, xpc_object_t value) {
        const std::string word(nameIn<names>(std::strtoll(key, nullptr, 10)));
        xpc_dictionary_set_value(byName.get(), word.c_str(), value);
        return true;
    });
    return byName;
}

/// One for each bit that is set and has a name.
template <const auto& names>
xpc::Object nameBits(const xpc::Object& value) {
    std::vector<xpc::Object> words;
    for (const Name& entry : names) {
        if (std::has_single_bit(static_cast<std::uint64_t>(entry.number)) &&
            (entry.number & xpc_int64_get_value(value.get())) != 0) {
            words.push_back(text(entry.name));
        }
    }
    return xpc::array(std::move(words));
}

struct NamedProperty {
    std::string_view interface;
    std::string_view property;
    xpc::Object (*name)(const xpc::Object& value);
};
constexpr NamedProperty kNamed[] = {
    {kModemInterface, "State", name<k_state>},
    {kModemInterface, "StateFailedReason", name<k_state_failed_reason>},
    {kModemInterface, "PowerState", name<k_power_state>},
    {kModemInterface, "UnlockRequired", name<k_lock>},
    {kModemInterface, "UnlockRetries", nameKeys<k_lock>},
    {kModemInterface, "AccessTechnologies", nameBits<k_access_technology>},
    {kModemInterface, "SupportedBands", nameEach<k_band>},
    {kModemInterface, "CurrentBands", nameEach<k_band>},
    {kThreeGppInterface, "RegistrationState", name<k_3gpp_registration_state>},
    {kThreeGppInterface, "PacketServiceState", name<k_3gpp_packet_service_state>},
};

}  // namespace

std::string_view stateName(std::int64_t state) {
    return nameIn<k_state>(state);
}

std::string_view failedReasonName(std::int64_t reason) {
    return nameIn<k_state_failed_reason>(reason);
}

std::string_view powerStateName(std::int64_t state) {
    return nameIn<k_power_state>(state);
}

std::string_view lockName(std::int64_t lock) {
    return nameIn<k_lock>(lock);
}

xpc::Object named(std::string_view interface, std::string_view property, const xpc::Object& value) {
    for (const NamedProperty& entry : kNamed) {
        if (value && entry.interface == interface && entry.property == property) {
            return entry.name(value);
        }
    }
    return value;
}

}  // namespace corvane::modemmanager
