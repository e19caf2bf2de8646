#include "Corvane/baseband/modemmanager/NamedProperties.h"

#include "Corvane/baseband/modemmanager/ModemNames.h"
#include "Corvane/baseband/modemmanager/ModemObjects.h"
#include "Corvane/support/Values.h"

#include <cstdlib>
#include <string>

namespace corvane::modemmanager {
namespace {

template <std::string_view (*nameOf)(std::int64_t)>
xpc::Object name(const xpc::Object& value) {
    return text(nameOf(xpc_int64_get_value(value.get())));
}

template <std::string_view (*nameOf)(std::int64_t)>
xpc::Object nameEach(const xpc::Object& values) {
    auto names = xpc::Object::adopt(xpc_array_create(nullptr, 0));
    for (std::size_t i = 0; i < xpc_array_get_count(values.get()); ++i) {
        xpc_array_append_value(names.get(), text(nameOf(xpc_int64_get_value(xpc_array_get_value(values.get(), i)))).get());
    }
    return names;
}

template <std::string_view (*nameOf)(std::int64_t)>
xpc::Object nameKeys(const xpc::Object& values) {
    xpc::Object byName = dictionary({});
    xpc_dictionary_apply(values.get(), [&](const char* key, xpc_object_t value) {
        xpc_dictionary_set_value(byName.get(), std::string(nameOf(std::strtoll(key, nullptr, 10))).c_str(), value);
        return true;
    });
    return byName;
}

xpc::Object nameTechnologies(const xpc::Object& value) {
    auto names = xpc::Object::adopt(xpc_array_create(nullptr, 0));
    for (const std::string_view technology : accessTechnologyNames(xpc_int64_get_value(value.get()))) {
        xpc_array_append_value(names.get(), text(technology).get());
    }
    return names;
}

struct NamedProperty {
    std::string_view interface;
    std::string_view property;
    xpc::Object (*name)(const xpc::Object& value);
};
constexpr NamedProperty kNamed[] = {
    {kModemInterface, "State", name<stateName>},
    {kModemInterface, "StateFailedReason", name<failedReasonName>},
    {kModemInterface, "PowerState", name<powerStateName>},
    {kModemInterface, "UnlockRequired", name<lockName>},
    {kModemInterface, "UnlockRetries", nameKeys<lockName>},
    {kModemInterface, "AccessTechnologies", nameTechnologies},
    {kModemInterface, "SupportedBands", nameEach<bandName>},
    {kModemInterface, "CurrentBands", nameEach<bandName>},
    {kThreeGppInterface, "RegistrationState", name<registrationName>},
    {kThreeGppInterface, "PacketServiceState", name<packetServiceName>},
};

}  // namespace

xpc::Object named(std::string_view interface, std::string_view property, const xpc::Object& value) {
    for (const NamedProperty& entry : kNamed) {
        if (value && entry.interface == interface && entry.property == property) {
            return entry.name(value);
        }
    }
    return value;
}

}  // namespace corvane::modemmanager
