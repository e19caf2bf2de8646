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
    failure = None  # of a reset and of enabling: the name and the sentence of an error, when it is answered
    leaves = True  # its modem, when it is reset
    technology = measuring = "Lte"  # of what is measured from the next request on, and now
    parts = {SIGNAL: {"Rate": dbus.UInt32(0), "Lte": dbus.Dictionary({}, "sv")},
             MODEM + ".Modem3gpp": {"RegistrationState": dbus.UInt32(5), "OperatorCode": "00101", "OperatorName": ""}}
    changed = {}  # properties, of its next modem

    def __init__(self, address, failures=0):
        self.failures = failures  # to tell its modems
        self.asked, self.unanswered = [], {}  # the latter: of each method that doesn't answer what would
        super().__init__(connect(address, SERVICE), ROOT)
        self.modem = Modem(self, 9)

    def interfaces(self):
        return {MODEM: self.modem.properties, **self.parts}

    def soon(self, *steps):
        """In the loop's thread, one after the other."""
        GLib.idle_add(lambda: [step() for step in steps] and False)

    def leave(self):
        self.InterfacesRemoved(ROOT + "/Modem/77", [MODEM])
        self.InterfacesRemoved(self.modem.path, [MODEM, *self.parts])
        self.modem.remove_from_connection()

    def come_back(self):
        self.modem = Modem(self, self.modem.index + 1)
        self.InterfacesAdded(self.modem.path, self.interfaces())

    @dbus.service.method(OBJECTS, "", "a{oa{sa{sv}}}")
    def GetManagedObjects(self):
        self.failures -= 1
        if self.failures >= 0:
            raise dbus.DBusException("Not yet", name=SERVICE + ".Error.Core.Retry")
        return {self.modem.path: self.interfaces()}

    @dbus.service.method(SERVICE, "s")
    def SetLogging(self, level):
        self.asked.append("SetLogging " + level)

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
    def __init__(self, manager, index):
        self.manager, self.index, self.path = manager, index, f"{ROOT}/Modem/{index}"
        self.properties = {"State": dbus.Int32(8), "PowerState": dbus.UInt32(3), "Device": "/fake", "Model": "Fake",
                           "EquipmentIdentifier": "490154203237518", "UnlockRetries": {dbus.UInt32(10): dbus.UInt32(3)},
                           "AccessTechnologies": dbus.UInt32(1 << 14 | 1 << 5), "CurrentBands": dbus.Array([71, 9999], "u"),
                           "SignalQuality": dbus.Struct((dbus.UInt32(57), True), signature="ub"), "Sim": ROOT + "/SIM/0",
                           "Bearers": dbus.Array([ROOT + "/Bearer/0"], "o"),
                           "AllTypes": dbus.Struct((dbus.Byte(255), dbus.Int16(-2), dbus.UInt16(65535), dbus.UInt32(2**32 - 1),
                                                    dbus.Int64(-5), dbus.UInt64(2**63 - 1), dbus.UInt64(2**64 - 1), 0.12345678,
                                                    1e14, 1e15))} | manager.changed
        super().__init__(manager.connection, self.path)

    def answer(self, done, fail, method, *arguments):
        def finish():
            name, sentence = self.manager.failure if self.manager.failure and method in ("Reset", "Enable") else (None, None)
            fail(dbus.DBusException(sentence, name=name)) if name else done()

        self.manager.asked.append(" ".join([method, *map(str, arguments)]))
        if method in self.manager.unanswered:
            self.manager.unanswered[method] = finish
        else:
            finish()

    @dbus.service.method(MODEM, "b", async_callbacks=("done", "fail"))
    def Enable(self, on, done, fail):
        self.answer(done, fail, "Enable", on)

    @dbus.service.method(MODEM, "u", async_callbacks=("done", "fail"))
    def SetPowerState(self, state, done, fail):
        self.answer(done, fail, "SetPowerState", state)

    @dbus.service.method(MODEM, async_callbacks=("done", "fail"))
    def Reset(self, done, fail):
        self.answer(done, fail, "Reset")
        if self.manager.leaves:
            GLib.timeout_add(50, self.manager.leave)
            GLib.timeout_add(100, self.manager.come_back)

    @dbus.service.method(MODEM, "s", async_callbacks=("done", "fail"))
    def FactoryReset(self, code, done, fail):
        self.answer(done, fail, "FactoryReset", code)

    @dbus.service.method(SIGNAL, "u", async_callbacks=("done", "fail"))
    def Setup(self, rate, done, fail):
        measured = {"rsrp": -101.0, "rsrq": -11.5, "snr": 12.4} if rate else {}
        before, self.manager.measuring = self.manager.measuring, self.manager.technology
        self.PropertiesChanged(SIGNAL, {"Rate": rate, self.manager.technology: dbus.Dictionary(measured, "sv")},
                               {before} - {self.manager.technology})
        self.answer(done, fail, "Setup", rate)

    @dbus.service.method(MODEM + ".Location", "", "a{uv}")
    def GetLocation(self):
        self.manager.asked.append("GetLocation")
        return {}

    @dbus.service.signal(MODEM, "iiu")
    def StateChanged(self, before, now, reason):
        pass

    @dbus.service.signal(PROPERTIES, "sa{sv}as")
    def PropertiesChanged(self, interface, changed, forgotten):
        pass
