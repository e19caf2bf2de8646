#include "Corvane/modemmanager/ModemManagerRig.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace support {
namespace {

constexpr const char* kService = "org.freedesktop.ModemManager1";
constexpr const char* kRoot = "/org/freedesktop/ModemManager1";
constexpr const char* kTestInterface = "org.freedesktop.ModemManager1.Test";
constexpr const char* kDaemonPath = "/usr/sbin/ModemManager";
constexpr const char* kBusPath = "/usr/bin/dbus-daemon";

void waitForService(sd_bus* bus) {
    bool owned = false;
    const auto changed = [](sd_bus_message*, void* flag, sd_bus_error*) {
        *static_cast<bool*>(flag) = true;
        return 0;
    };
    sd_bus_add_match(bus, nullptr, "type='signal',member='NameOwnerChanged',arg0='org.freedesktop.ModemManager1'", changed,
                     &owned);
    owned = sd_bus_call_method(bus, "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetNameOwner", nullptr, nullptr, "s",
                               kService) >= 0;
    const auto patience = static_cast<std::uint64_t>(std::chrono::microseconds(kPatience).count());
    while (!owned) {
        if (const int result = sd_bus_process(bus, nullptr); result > 0) {
            continue;
        }
        if (sd_bus_wait(bus, patience) <= 0) {
            throw std::runtime_error("ModemManager didn't come to the bus");
        }
    }
}

}  // namespace

BusConnection connectToBus() {
    sd_bus* bus = nullptr;
    if (const int result = sd_bus_open_system(&bus); result < 0) {
        throw std::system_error(-result, std::generic_category(), "sd_bus_open_system");
    }
    return {bus, &sd_bus_flush_close_unref};
}

std::string ModemManagerRig::whatIsMissing() {
    for (const char* program : {kDaemonPath, kBusPath}) {
        if (access(program, X_OK) != 0) {
            return std::string(program) +
                   " is needed and isn't installed; script/bootstrap installs it (Debian packages modemmanager and dbus)";
        }
    }
    return {};
}

ModemManagerRig::ModemManagerRig() {
    writeFile(folder_ / "bus.conf", R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>)" + address() + R"(</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)");
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address().c_str(), 1);
    startBus();
    startModemManager();
}

ModemManagerRig::~ModemManagerRig() {
    finishPlugging();
}

void ModemManagerRig::finishPlugging() {
    if (plugger_.joinable()) {
        plugger_.join();
    }
}

void ModemManagerRig::startBus() {
    bus_ = std::make_unique<Process>(
        Arguments{kBusPath, "--config-file=" + (folder_ / "bus.conf"), "--nofork", "--nopidfile", "--print-address"});
    if (!bus_->waitForOutput("\n")) {
        throw std::runtime_error("the message bus didn't start: " + bus_->finish().err);
    }
}

void ModemManagerRig::stopBus() {
    bus_.reset();
    modemManager_.reset();
}

void ModemManagerRig::startModemManager() {
    modemManager_ =
        std::make_unique<Process>(Arguments{kDaemonPath, "--test-session", "--test-enable", "--test-no-udev",
                                            "--test-no-suspend-resume", "--test-no-qrtr", "--no-auto-scan", "--log-level=INFO"},
                                  Environment{{"DBUS_SESSION_BUS_ADDRESS", address()}});
    waitForService(connectToBus().get());
}

void ModemManagerRig::stopModemManager(int signal) {
    modemManager_->signal(signal);
    if (signal == SIGKILL) {
        modemManager_.reset();
    }
}

void ModemManagerRig::plug(const AtModem& modem, const std::string& device, const std::string& plugin) {
    const std::string error =
        call(kRoot, kTestInterface, "SetProfile", "ssas", device.c_str(), plugin.c_str(), 1, modem.port().c_str());
    if (!error.empty()) {
        throw std::runtime_error("ModemManager doesn't take the modem: " + error);
    }
}

/// A device without ports: ModemManager complains, and lets the modem go that was there.
void ModemManagerRig::unplug(const std::string& device) {
    call(kRoot, kTestInterface, "SetProfile", "ssas", device.c_str(), "fibocom", 0);
}

/// Not on the modem's own thread, which has to answer meanwhile.
void ModemManagerRig::plugAgainAfterReset(AtModem& modem) {
    modem.whenReset([this, &modem] {
        finishPlugging();
        plugger_ = std::thread([this, &modem] {
            unplug();
            plug(modem);
        });
    });
}

}  // namespace support
