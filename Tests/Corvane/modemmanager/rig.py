"""The real ModemManager, on a message bus of the test's own, behind a real manager; only the modems are ours."""
import json
import os
import pathlib
import signal
import socket
import subprocess
import tempfile
import threading
import time

import cbor2
import dbus.bus
import pytest

from at_modem import AtModem

PATIENCE = 30  # seconds; longer than anything takes on a loaded machine
MODEM_MANAGER = os.environ.get("MODEM_MANAGER", "/usr/sbin/ModemManager").split()  # "chroot FOLDER ..." tries another version
SERVICE = "org.freedesktop.ModemManager1"
ROOT = "/org/freedesktop/ModemManager1"


def until(reached, what=""):
    """Waits for a true value and returns it."""
    deadline = time.monotonic() + PATIENCE
    while not (value := reached()):
        assert time.monotonic() < deadline, f"waited in vain for {what}"
        time.sleep(0.01)
    return value


class Program:
    """A child that doesn't outlive the test; what it prints is gathered."""

    def __init__(self, *words, **environment):
        self.text = ""
        self.child = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *words], env=os.environ | environment, text=True,
                                      stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.reader = threading.Thread(target=self.read, daemon=True)
        self.reader.start()

    def read(self):
        for text in self.child.stdout:
            self.text += text

    def says(self, text, times=1):
        until(lambda: self.text.count(text) >= times, f"{times} x {text!r} in:\n{self.text}")

    def kill(self, number):
        self.child.send_signal(number)

    def end(self, number=signal.SIGTERM):
        if self.child.poll() is None:
            self.kill(signal.SIGCONT)
            self.kill(number)
        self.child.wait(PATIENCE)
        self.reader.join(PATIENCE)


class Client:
    """A client of the manager that speaks the protocol by itself."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self.socket.settimeout(PATIENCE * 4)
        self.socket.connect(path)
        self.send([0, 1, "rig"])
        self.send([3, True])
        self.count, self.answers, self.events = 0, {}, []

    def send(self, packet):
        self.socket.send(cbor2.dumps(packet))

    def receive(self):
        packet = cbor2.loads(self.socket.recv(1 << 17))
        if packet[0] == 2:
            self.answers[packet[1]] = (packet[2], packet[3] if len(packet) > 3 else None)
        else:
            self.events.append(next(iter(packet[2].values()), None))

    def ask(self, command, **argument):
        self.count += 1
        self.send([1, self.count, command + "Command", {"Key" + key: value for key, value in argument.items()} or None])
        return self.count

    def answer(self, number):
        """The reply, or "CODE: sentence" of a refusal."""
        while number not in self.answers:
            self.receive()
        result, reply = self.answers.pop(number)
        return f"{result & 0xFFF:X}: {reply['KeyErrorString']}" if result else reply

    def do(self, command, **argument):
        return self.answer(self.ask(command, **argument))

    def saw(self, *events):
        """Waits for as many events, and holds all there were against them."""
        while len(self.events) < len(events):
            self.receive()
        assert self.events == list(events)
        self.events = []

    def ask_mode(self, number, timeout=0):
        return self.ask("SetBasebandOperatingMode", BasebandOperatingMode=number, Timeout=timeout)

    def set_mode(self, number, timeout=0):
        return self.answer(self.ask_mode(number, timeout))

    def ask_reset(self, kind="Soft"):
        return self.ask("ResetBaseband", BasebandResetType=kind + " reset", BasebandResetSubType="UserTriggered",
                        BasebandResetReason="because")

    def reset(self, kind="Soft"):
        return self.answer(self.ask_reset(kind))

    def ask_erase(self):
        return self.ask("BasebandNVData", BasebandNVDataAction="Erase")

    def mode(self):
        reply = self.do("GetBasebandOperatingMode")
        return reply["KeyBasebandOperatingMode"] if isinstance(reply, dict) else reply

    def state(self):
        return self.do("GetBasebandBootState")["KeyBasebandBootState"]

    def statistics(self):
        return self.do("GetStatistics", ReportingModuleType=0)["Boot"]


class Rig:
    def __init__(self, folder):
        self.folder = folder
        self.address = f"unix:abstract={folder}/bus"
        self.socket = f"{folder}/manager.sock"
        self.programs = []
        self.manager = None
        self.start_bus()

    def environment(self):
        return {"DBUS_SYSTEM_BUS_ADDRESS": self.address, "XDG_CONFIG_HOME": str(self.folder), "XDG_RUNTIME_DIR": str(self.folder),
                "CORVANE_SOCKET": self.socket}

    def start(self, *words, **environment):
        program = Program(*words, **self.environment() | environment)
        self.programs.append(program)
        return program

    def end(self):
        for program in reversed(self.programs):
            program.end(signal.SIGTERM if program is self.manager else signal.SIGKILL)
        if self.manager:
            print(self.manager.text)  # pytest shows it of a test that fails
            assert self.manager.child.returncode == 0

    def start_bus(self):
        self.bus_program = self.start("dbus-daemon", "--session", f"--address={self.address}", "--nofork", "--print-address")
        self.bus_program.says("\n")
        self.bus = dbus.bus.BusConnection(self.address)

    def stop_bus(self):
        self.bus_program.end(signal.SIGKILL)
        self.modem_manager.end(signal.SIGKILL)

    def start_modem_manager(self, session=True):
        """Without a session on the bus it asks polkit what its callers may do."""
        words = ["--test-session"] if session else []
        self.modem_manager = self.start(*MODEM_MANAGER, *words, "--test-enable", "--test-no-udev",
                                        "--test-no-suspend-resume", "--test-no-qrtr", "--no-auto-scan", "--log-level=INFO",
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
        try:
            self.call(ROOT, SERVICE + ".Test", "SetProfile", device, "fibocom", dbus.Array([], "s"))
        except dbus.DBusException:
            pass

    def modems(self):
        """Those that ModemManager has got to know."""
        objects = self.call(ROOT, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects")
        states = {path: interfaces.get(SERVICE + ".Modem", {}).get("State", 0) for path, interfaces in objects.items()}
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
        self.manager = self.start(os.environ["CORVANE_PATH"], "--socket", self.socket, "--state", f"{self.folder}/state",
                                  "--backend", "modemmanager", *options)
        self.manager.says("ready\n")
        return Client(self.socket)

    def start_pellcore(self):
        self.pellcore = self.start(os.environ["PELLCORE_PATH"])
        until((self.folder / "corvane/Pellcore.pid").exists, "the cellular service's announcement")

    def tool(self, *words):
        """What one run of the real tool prints. The cellular service has to run."""
        return subprocess.run([os.environ["RYNTOOL_PATH"], *words], env=os.environ | self.environment(), text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT).stdout

    def snapshot(self, name):
        return json.loads(next(self.folder.glob(f"state/Snapshots/*/{name}")).read_text())

    def ready(self, modem=None, *options, plugin="fibocom"):
        """A manager with one modem that it knows."""
        if modem:
            self.plug(modem, plugin=plugin)
            until(self.modems)
        client = self.start_manager(*options)
        until(lambda: client.state() == "Ready", "a modem that is ready")
        client.events = []
        return client


def two_modems(rig, imei):
    modems = AtModem(), AtModem(imei)
    for count, device in enumerate(("left", "right")):
        rig.plug(modems[count], device)
        until(lambda: len(rig.modems()) > count, device)
    return modems


@pytest.fixture
def rig():
    with tempfile.TemporaryDirectory(prefix="corvane-rig-") as folder:
        made = Rig(pathlib.Path(folder))
        try:
            made.start_modem_manager()
            yield made
        finally:
            made.end()
