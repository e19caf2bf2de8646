"""The real ModemManager, on a message bus of the test's own, behind a real manager; only the modems are ours."""
import contextlib
import os
import pathlib
import signal
import subprocess
import threading
import time

import dbus.bus
import pytest

import programs
from at_modem import AtModem
from fakes import MODEM, ROOT, SERVICE, SIGNAL
from programs import MANAGER, Manager, Program, until

MODEM_MANAGER = os.environ.get("MODEM_MANAGER", "/usr/sbin/ModemManager").split()  # "chroot FOLDER ..." tries another version
JOURNALD = "/lib/systemd/systemd-journald"
OTHER = "356938035643809"  # the IMEI of a second modem


class Rig(Manager):
    """A manager that the test starts, with the modems that there are by then."""

    program = None  # until the test starts it

    def __init__(self):
        super().__init__()
        self.others = contextlib.ExitStack()
        self.inside = []  # runs a program where the journal is
        self.environment["DBUS_SYSTEM_BUS_ADDRESS"] = self.address = f"unix:abstract={self.folder}/bus"

    def __enter__(self):
        self.start_bus()
        self.start_modem_manager()
        return self

    def __exit__(self, *error):
        with self.others:
            if self.program:
                super().__exit__(*error)
            else:
                self.kept.cleanup()

    def start_other(self, *words, **environment):
        program = Program(*self.inside, *words, **self.environment | environment)
        self.others.callback(program.end, signal.SIGKILL)
        return program

    def start_bus(self):
        self.bus_program = self.start_other("dbus-daemon", "--session", f"--address={self.address}", "--nofork", "--print-address")
        self.bus_program.says("\n")
        self.bus = dbus.bus.BusConnection(self.address)

    def stop_bus(self):
        self.bus_program.end(signal.SIGKILL)
        self.modem_manager.end(signal.SIGKILL)

    def start_journal(self):
        """For whatever is started from now on: a journal of its own. @return False where none can be had"""
        may_mount = subprocess.run(["unshare", "--mount", "mount", "-t", "tmpfs", "none", "/mnt"], capture_output=True).returncode == 0
        is_complete = all(map(os.path.exists, [JOURNALD, "/sys/fs/cgroup"])) and pathlib.Path("/etc/machine-id").read_text().strip()
        if not may_mount or not is_complete:
            return False
        journal = self.start_other("unshare", "--mount", "sh", "-ec", "for folder in /run /var/log; do mount -t tmpfs none $folder; done; "
                                   f"mkdir -p /run/systemd/journal /run/log; exec {JOURNALD}")
        self.inside = ["nsenter", f"--mount=/proc/{journal.child.pid}/ns/mnt"]
        until(lambda: subprocess.run([*self.inside, "test", "-S", "/run/systemd/journal/stdout"]).returncode == 0, "the journal")
        return True

    def start_modem_manager(self, session=True, level="INFO"):
        """Without a session on the bus it asks polkit what its callers may do."""
        words = (["--test-session"] if session else []) + (["--log-journal"] if self.inside else [])
        self.modem_manager = self.start_other(*MODEM_MANAGER, *words, "--test-enable", "--test-no-udev",
                                              "--test-no-suspend-resume", "--test-no-qrtr", "--no-auto-scan", "--log-level=" + level,
                                              DBUS_SESSION_BUS_ADDRESS=self.address)
        until(lambda: self.bus.name_has_owner(SERVICE), "ModemManager")

    def call(self, path, interface, member, *arguments):
        """Calls a method of ModemManager's, as mmcli(1) would."""
        return self.bus.get_object(SERVICE, path, introspect=False).get_dbus_method(member, interface)(*arguments)

    def plug(self, modem, device="slot", plugin="fibocom"):
        """ModemManager begins to look at the modem, in the plug-in's way. Plugged in again, it is another object."""
        self.call(ROOT, SERVICE + ".Test", "SetProfile", device, plugin, dbus.Array([modem.port], "s"))

    def unplug(self, device="slot"):
        """A device without ports: ModemManager complains, and lets the modem go that was there."""
        with contextlib.suppress(dbus.DBusException):
            self.call(ROOT, SERVICE + ".Test", "SetProfile", device, "fibocom", dbus.Array([], "s"))

    def modems(self):
        """Those that ModemManager has got to know."""
        objects = self.call(ROOT, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects")
        states = {path: interfaces.get(MODEM, {}).get("State", 0) for path, interfaces in objects.items()}
        return [path for path, state in states.items() if state not in (0, 1)]

    def replug_on_reset(self, modem, device="slot", leave=0, away=0):
        """From now on a reset makes the modem leave after `leave` seconds and come back after `away` more (None: never)."""
        def reset():
            def go():
                time.sleep(leave)
                self.unplug(device)
                if away is not None:
                    time.sleep(away)
                    self.plug(modem, device)
            threading.Thread(target=go, daemon=True).start()
            return modem.change("AT+CFUN=15")
        modem.instead["AT+CFUN=15"] = reset

    def start_manager(self, *options):
        self.command, self.options = (*self.inside, MANAGER), ("--backend", "modemmanager", *options)
        self.start()
        return self.client()

    def start_pellcore(self):
        self.pellcore = self.start_other(programs.SERVICE)
        until((self.folder / "corvane/Pellcore.pid").exists, "the cellular service's announcement")

    def rates(self):
        """The seconds between measurements of each modem's signal."""
        return [self.call(path, dbus.PROPERTIES_IFACE, "Get", SIGNAL, "Rate") for path in self.modems()]

    def recorded(self, trace):
        return "".join(path.read_text() for path in sorted(self.folder.glob(f"state/Scratch/{trace}.scratch/*")))

    def ready(self, modem=None, plugin="fibocom"):
        """A client of a manager with one modem that it knows."""
        if modem:
            self.plug(modem, plugin=plugin)
            until(self.modems)
        return self.start_manager().wait_for("Ready")


def two_modems(rig, imei):
    modems = AtModem(), AtModem(imei)
    for count, device in enumerate(("left", "right")):
        rig.plug(modems[count], device)
        until(lambda: len(rig.modems()) > count, device)
    return modems


@pytest.fixture
def modem():
    return AtModem()


@pytest.fixture
def rig():
    with Rig() as made:
        yield made
        print(made.program and made.program.text)  # pytest shows it of a test that fails
