#include "Corvane/baseband/modemmanager/ModemObjects.h"

#include <cstdlib>

namespace corvane::modemmanager {
namespace {

void assign(Properties& properties, const xpc::Object& values) {
    xpc_dictionary_apply(values.get(), [&](const char* name, xpc_object_t value) {
        properties[name] = xpc::Object::share(value);
        return true;
    });
}

template <typename Container>
void eraseNamed(Container& container, const xpc::Object& names) {
    for (std::size_t i = 0; i < xpc_array_get_count(names.get()); ++i) {
        if (const char* name = xpc_string_get_string_ptr(xpc_array_get_value(names.get(), i))) {
            container.erase(name);
        }
    }
}

}  // namespace

std::string Modem::index() const {
    return path.substr(path.rfind('/') + 1);
}

xpc::Object Modem::property(std::string_view interface, std::string_view name) const {
    const auto properties = interfaces.find(interface);
    if (properties == interfaces.end()) {
        return {};
    }
    const auto found = properties->second.find(name);
    return found == properties->second.end() ? xpc::Object() : found->second;
}

std::string Modem::text(std::string_view name) const {
    const char* value = xpc_string_get_string_ptr(property(kModemInterface, name).get());
    return value == nullptr ? std::string() : std::string(value);
}

std::int64_t Modem::number(std::string_view name) const {
    return xpc_int64_get_value(property(kModemInterface, name).get());
}

std::string Modem::description() const {
    const std::string imei = text("EquipmentIdentifier");
    const std::string identity = imei.empty() ? "device " + text("Device") : "IMEI " + imei;
    std::string known = text("Manufacturer");
    const std::string model = text("Model");
    known += (known.empty() || model.empty() ? "" : " ") + model;
    return known.empty() ? identity : known + ", " + identity;
}

std::string Modem::describe() const {
    return path + " (" + description() + ")";
}

void ModemObjects::load(const xpc::Object& objects) {
    xpc_dictionary_apply(objects.get(), [this](const char* path, xpc_object_t interfaces) {
        add(path, xpc::Object::share(interfaces));
        return true;
    });
}

void ModemObjects::add(const std::string& path, const xpc::Object& interfaces) {
    Modem& modem = modems_[path];
    modem.path = path;
    xpc_dictionary_apply(interfaces.get(), [&](const char* interface, xpc_object_t values) {
        assign(modem.interfaces[interface], xpc::Object::share(values));
        return true;
    });
}

bool ModemObjects::remove(const std::string& path, const xpc::Object& interfaces) {
    const auto modem = modems_.find(path);
    if (modem == modems_.end()) {
        return false;
    }
    const bool wasModem = modem->second.has(kModemInterface);
    eraseNamed(modem->second.interfaces, interfaces);
    const bool isGone = wasModem && !modem->second.has(kModemInterface);
    if (modem->second.interfaces.empty()) {
        modems_.erase(modem);
    }
    return isGone;
}

void ModemObjects::change(const std::string& path, std::string_view interface, const xpc::Object& values,
                          const xpc::Object& forgotten) {
    const auto modem = modems_.find(path);
    if (modem == modems_.end()) {
        return;
    }
    const auto properties = modem->second.interfaces.find(interface);
    if (properties != modem->second.interfaces.end()) {
        assign(properties->second, values);
        eraseNamed(properties->second, forgotten);
    }
}

std::map<std::int64_t, const Modem*> ModemObjects::modems() const {
    std::map<std::int64_t, const Modem*> usable;
    for (const auto& [path, modem] : modems_) {
        if (modem.has(kModemInterface)) {
            usable.emplace(std::strtoll(modem.index().c_str(), nullptr, 10), &modem);
        }
    }
    return usable;
}

}  // namespace corvane::modemmanager
