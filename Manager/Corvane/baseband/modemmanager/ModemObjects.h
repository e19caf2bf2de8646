#pragma once

#include "platform/xpc/Object.h"

#include <ModemManager.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace corvane::modemmanager {

inline constexpr const char* kModemInterface = MM_DBUS_INTERFACE_MODEM;
inline constexpr const char* kThreeGppInterface = MM_DBUS_INTERFACE_MODEM_MODEM3GPP;
inline constexpr const char* kTimeInterface = MM_DBUS_INTERFACE_MODEM_TIME;
inline constexpr const char* kSignalInterface = MM_DBUS_INTERFACE_MODEM_SIGNAL;

using Properties = std::map<std::string, xpc::Object, std::less<>>;
using Interfaces = std::map<std::string, Properties, std::less<>>;

/// One modem as ModemManager shows it: the properties of its interfaces, which come and go with its state.
struct Modem {
    std::string path;
    Interfaces interfaces;

    /// The last part of the path: what mmcli(1) calls a modem by. It is another one each time the modem is plugged in.
    std::string index() const;
    bool has(std::string_view interface) const { return interfaces.find(interface) != interfaces.end(); }
    /// None when there is no such property.
    xpc::Object property(std::string_view interface, std::string_view name) const;
    /// Of the interface Modem; "" or 0 when there is no such property, or it is of another type.
    std::string text(std::string_view name) const;
    std::int64_t number(std::string_view name) const;
    MMModemState state() const { return static_cast<MMModemState>(number("State")); }
    bool isFailed() const { return state() == MM_MODEM_STATE_FAILED; }
    bool isBooted() const { return state() >= MM_MODEM_STATE_LOCKED; }
    /// Enabled, or on the way up or down: its power can't be changed before it is disabled.
    bool isActive() const { return state() > MM_MODEM_STATE_DISABLED; }

    /// "Acme Modem 1, IMEI 123456789012347", without an IMEI its device.
    std::string description() const;
    /// "/org/.../Modem/0 (Acme Modem 1, IMEI 123456789012347)"
    std::string describe() const;
};

/// Mirrors the objects that ModemManager's ObjectManager shows, by their paths.
class ModemObjects {
public:
    /// What GetManagedObjects returned: a dictionary of paths.
    void load(const xpc::Object& objects);
    void clear() { modems_.clear(); }
    /// What InterfacesAdded carries: a dictionary of interfaces.
    void add(const std::string& path, const xpc::Object& interfaces);
    /// What InterfacesRemoved carries: an array of interface names. An object without interfaces is gone.
    /// @return whether a modem is gone: the interface Modem was among them.
    bool remove(const std::string& path, const xpc::Object& interfaces);
    /// What PropertiesChanged carries: a dictionary of new values and an array of names whose values are no longer known.
    /// Changes to objects and interfaces that aren't there are left out.
    void change(const std::string& path, std::string_view interface, const xpc::Object& values, const xpc::Object& forgotten);

    /// Those that have the interface Modem, in ascending order of their indexes. Valid until the next change.
    std::map<std::int64_t, const Modem*> modems() const;

private:
    std::map<std::string, Modem, std::less<>> modems_;
};

}  // namespace corvane::modemmanager
