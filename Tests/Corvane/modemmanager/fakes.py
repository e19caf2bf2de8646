"""Services on the bus that answer what a test says: a polkit, and a ModemManager of one modem."""
import queue
import threading

import dbus.bus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

from programs import PATIENCE

SERVICE = "org.freedesktop.ModemManager1"
ROOT = "/org/freedesktop/ModemManager1"
MODEM = SERVICE + ".Modem"
SIGNAL = MODEM + ".Signal"
PROPERTIES = "org.freedesktop.DBus.Properties"
OBJECTS = "org.freedesktop.DBus.ObjectManager"
dbus.mainloop.glib.threads_init()
threading.Thread(target=GLib.MainLoop().run, daemon=True).start()


def connect(address, name):
    """In the loop's thread: while another waits for an answer on a connection, the loop may not look at it too."""
    connected = queue.SimpleQueue()

    def make():
        bus = dbus.bus.BusConnection(address, mainloop=dbus.mainloop.glib.DBusGMainLoop())
        bus.request_name(name)
        connected.put(bus)
    GLib.idle_add(make)
    return connected.get(timeout=PATIENCE)


class Polkit(dbus.service.Object):
    """Answers every question for a permission with the same two booleans: authorized, challenge."""

    def __init__(self, address, authorized, challenge):
        super().__init__(connect(address, "org.freedesktop.PolicyKit1"), "/org/freedesktop/PolicyKit1/Authority")
        self.answer = authorized, challenge

    @dbus.service.method("org.freedesktop.PolicyKit1.Authority", "(sa{sv})sa{ss}us", "(bba{ss})")
    def CheckAuthorization(self, subject, action, details, flags, cancellation):
        return *self.answer, {}

    @dbus.service.method(PROPERTIES, "s", "a{sv}")
    def GetAll(self, interface):
        return {}


class ModemManager(dbus.service.Object):
    def __init__(self, address):
        super().__init__(connect(address, SERVICE), ROOT)
        self.modem = Modem(self, 0)

    def interfaces(self):
        return {MODEM: self.modem.properties, SIGNAL: {"Rate": dbus.UInt32(0), "Lte": dbus.Dictionary({}, "sv")}}

    def leave(self):
        self.InterfacesRemoved(self.modem.path, [MODEM, SIGNAL])
        self.modem.remove_from_connection()

    def come_back(self):
        self.modem = Modem(self, self.modem.index + 1)
        self.InterfacesAdded(self.modem.path, self.interfaces())

    @dbus.service.method(OBJECTS, "", "a{oa{sa{sv}}}")
    def GetManagedObjects(self):
        return {self.modem.path: self.interfaces()}

    @dbus.service.method(PROPERTIES, "ss", "v")
    def Get(self, interface, name):
        return "1.24.0"

    @dbus.service.signal(OBJECTS, "oa{sa{sv}}")
    def InterfacesAdded(self, path, interfaces):
        pass

    @dbus.service.signal(OBJECTS, "oas")
    def InterfacesRemoved(self, path, interfaces):
        pass


class Modem(dbus.service.Object):
    failure = None  # of a reset: the name and the sentence of its error
    asked = []
    technology = measuring = "Lte"  # of what is measured from the next request on, and now

    def __init__(self, manager, index):
        self.manager, self.index, self.path = manager, index, f"{ROOT}/Modem/{index}"
        self.properties = {"State": dbus.Int32(8), "PowerState": dbus.UInt32(3), "Device": "/fake",
                           "EquipmentIdentifier": "490154203237518",
                           "Fitting": dbus.UInt64(2**63 - 1), "Largest": dbus.UInt64(2**64 - 1),
                           "SignalQuality": dbus.Struct((dbus.UInt32(57), True), signature="ub"),
                           "Bearers": dbus.Array([], "o")}
        super().__init__(manager.connection, self.path)

    @dbus.service.method(MODEM, "b")
    def Enable(self, on):
        pass

    @dbus.service.method(MODEM, "u")
    def SetPowerState(self, state):
        pass

    @dbus.service.method(MODEM)
    def Reset(self):
        self.asked.append("Reset")
        if self.failure:
            raise dbus.DBusException(self.failure[1], name=self.failure[0])
        GLib.timeout_add(50, self.manager.leave)
        GLib.timeout_add(100, self.manager.come_back)

    @dbus.service.method(MODEM, "s")
    def FactoryReset(self, code):
        self.asked.append("FactoryReset")

    @dbus.service.method(SIGNAL, "u")
    def Setup(self, rate):
        measured = {"rsrp": -101.0, "rsrq": -11.5, "snr": 12.4} if rate else {}
        before, self.measuring = self.measuring, self.technology
        self.PropertiesChanged(SIGNAL, {"Rate": rate, before: dbus.Dictionary({}, "sv"),
                                        self.technology: dbus.Dictionary(measured, "sv")}, [])

    @dbus.service.signal(PROPERTIES, "sa{sv}as")
    def PropertiesChanged(self, interface, changed, forgotten):
        pass
