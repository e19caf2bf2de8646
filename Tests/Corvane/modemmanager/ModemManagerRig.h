#pragma once

#include "Corvane/modemmanager/AtModem.h"
#include "support/Process.h"
#include "support/TempFolder.h"

#include <systemd/sd-bus.h>

#include <memory>
#include <string>
#include <thread>

namespace support {

using BusConnection = std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)>;
/// A connection of the test's own to the bus that DBUS_SYSTEM_BUS_ADDRESS names.
BusConnection connectToBus();

/// The real ModemManager on a message bus of the test's own, with modems that are plugged in and out at will.
class ModemManagerRig {
public:
    /// Why the rig can't be had on this machine, in a sentence; empty when it can.
    static std::string whatIsMissing();

    /// Bus and ModemManager are there when it returns; so is its address in DBUS_SYSTEM_BUS_ADDRESS of this process.
    ModemManagerRig();
    ~ModemManagerRig();
    ModemManagerRig(const ModemManagerRig&) = delete;
    ModemManagerRig& operator=(const ModemManagerRig&) = delete;

    void startBus();
    void stopBus();
    void startModemManager();
    /// @param signal SIGKILL, or SIGSTOP for one that hangs.
    void stopModemManager(int signal);

    /// ModemManager begins to look at the modem, by the plug-in's manners. Plugged in again, it is another object.
    /// @param device names its place: "/virtual/" and this is its Device.
    void plug(const AtModem& modem, const std::string& device = "slot", const std::string& plugin = "fibocom");
    void unplug(const std::string& device = "slot");
    /// From now on a reset makes the modem leave and come back.
    void plugAgainAfterReset(AtModem& modem);

    /// Calls a method of ModemManager's, as mmcli(1) would. @return the error's message, empty for none.
    template <typename... Arguments>
    std::string call(const char* path, const char* interface, const char* member, const char* signature, Arguments... arguments) {
        sd_bus_error error{};
        sd_bus_call_method(connectToBus().get(), "org.freedesktop.ModemManager1", path, interface, member, &error, nullptr,
                           signature, arguments...);
        std::string message = error.message == nullptr ? "" : error.message;
        sd_bus_error_free(&error);
        return message;
    }

private:
    void finishPlugging();
    std::string address() const { return "unix:path=" + (folder_ / "bus"); }

    TempFolder folder_;
    std::unique_ptr<Process> bus_;
    std::unique_ptr<Process> modemManager_;
    std::thread plugger_;
};

}  // namespace support
