"""What tests of whole sessions share: the programs as processes, and both ends of the protocol in a codec not the product's."""
import contextlib
import ctypes
import difflib
import os
import pathlib
import re
import signal
import socket
import struct
import subprocess
import tempfile
import textwrap
import threading
import time

import cbor2

# A shell starts what runs in its background without it, and so would be what is started here.
signal.signal(signal.SIGINT, signal.default_int_handler)

# Seconds; longer than anything takes on a loaded machine under a sanitizer.
PATIENCE = int(os.environ.get("TEST_PATIENCE", 60))
TOOL, MANAGER, SERVICE = (os.environ[name + "_PATH"] for name in ("RYNTOOL", "CORVANE", "PELLCORE"))
REFUSALS = 0xE020E  # the upper digits of the manager's own results
PR_SET_NAME = 15
MORTAL = "setpriv", "--pdeathsig", "KILL"  # what follows doesn't outlive the test
FIXTURES = pathlib.Path(__file__).resolve().parents[1] / "Corvane/fixtures"
os.environ.pop("SORVEX_DEVICE_FILE", None)  # this machine's device is not the tests'
ctypes.CDLL(None).prctl(PR_SET_NAME, b"Pellcore")  # so that the tool finds the cellular service running


def until(reached, what=""):
    """Waits for a true value and returns it."""
    deadline = time.monotonic() + PATIENCE
    while not (value := reached()):
        assert time.monotonic() < deadline, f"waited in vain for {what}"
        time.sleep(0.01)
    return value


RENEWS = "RENEW_FIXTURES=1 keeps what is seen now"


def kept(name, shown):
    """What a fixture has kept of a text; it keeps `shown` from now on where RENEW_FIXTURES is set."""
    if os.environ.get("RENEW_FIXTURES"):
        (FIXTURES / name).write_text(shown)
    return (FIXTURES / name).read_text()


def hold(name, shown):
    """A fixture has kept the text as it is shown."""
    changes = difflib.unified_diff(kept(name, shown).splitlines(), shown.splitlines(), str(FIXTURES / name), "seen now", "", "", 1, "")
    if changed := "\n".join(changes):
        raise AssertionError(f"{RENEWS}:\n{changed}")


def hold_table(name, answer):
    """A fixture of questions, a line each, and behind each, indented, what `answer` makes of it. Behind # is what they are about."""
    asked = [line for line in (FIXTURES / name).read_text().splitlines() if line and not line.startswith("  ")]
    shown = "".join(f"{line}\n" + ("" if line[0] == "#" else textwrap.indent(f"{answer(line)}\n", "  ")) for line in asked)
    hold(name, shown)


def hold_sentences(sentences):
    """Each is one of those that the manager may say: N, PATH and '_' stand for numbers, paths and quoted words, * for anything."""
    if "PYTEST_CURRENT_TEST" not in os.environ:
        return  # a torture program may meet any
    fixture = FIXTURES / "sentences.txt"
    for sentence in sorted(set(sentences)):
        for variable, name in (r"(?<!\w)'.*?'(?!\w)", "'_'"), (r"(?<![^ (])/[^\s:;,)]+", "PATH"), (r"\d+", "N"):
            sentence = re.sub(variable, name, sentence)
        if not re.fullmatch("|".join(".*".join(map(re.escape, line.split("*"))) for line in fixture.read_text().splitlines()), sentence):
            assert os.environ.get("RENEW_FIXTURES"), f"{fixture} lacks {sentence!r}; {RENEWS}"
            with open(fixture, "a") as file:
                file.write(sentence + "\n")


def run(*words, input="", **environment):
    """Exit status, output and errors of a program that ends by itself."""
    done = subprocess.run([*MORTAL, *map(str, words)], env=os.environ | environment, input=input, capture_output=True, text=True,
                          errors="surrogateescape", timeout=2 * PATIENCE)
    return done.returncode, done.stdout, done.stderr


def kilobytes(process, line):
    """A line of /proc/PID/status."""
    return int(re.search(rf"^{line}:\s+(\d+)", pathlib.Path(f"/proc/{process}/status").read_text(), re.M)[1])


def command(name, **argument):
    """A command and its argument as they travel."""
    return name + "Command", {"Key" + key: value for key, value in argument.items()} or None


def self_test(**changed):
    """The arguments of the tool's self-test, one of its options changed."""
    limits = {name: 32 * [255 if name.endswith("HighList") else 0] for name in
              ("PowerRatioLimitLowList", "PowerRatioLimitHighList", "ForwardPowerLimitLowList", "ForwardPowerLimitHighList")}
    given = {"TargetTxPower3G4G": 200, "TargetTxPower2G": 230} | limits | changed
    return {"BasebandDiagnosticsAction": "BasebandDiagnosticsActionRun",
            "BasebandDiagnosticsType": "BasebandDiagnosticsTypeRFSelfTest",
            "BasebandDiagnosticsOptions": {"KeyRFSelfTest" + name: value for name, value in given.items()}}


def expanded(entry):
    """An object of JSON that says in short a text or a list repeated, bytes, or the tool's self-test with options of its own."""
    if "times" in entry:
        return entry["of"] * entry["times"]
    return bytes.fromhex(entry["hex"]) if "hex" in entry else self_test(**entry["self-test"]) if "self-test" in entry else entry


class Program:
    """A child; what it prints is gathered."""

    def __init__(self, *words, stdin=subprocess.DEVNULL, **environment):
        self.lines, self.printed = [], threading.Condition()
        self.child = subprocess.Popen([*MORTAL, *map(str, words)], env=os.environ | environment, text=True,
                                      errors="surrogateescape", stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.reader = threading.Thread(target=self.read, daemon=True)
        self.reader.start()

    @property
    def text(self):
        return "".join(self.lines)

    def read(self):
        for line in self.child.stdout:
            with self.printed:
                self.lines.append(line)
                self.printed.notify_all()
        with self.printed:
            self.printed.notify_all()

    def says(self, text, times=1):
        with self.printed:
            self.printed.wait_for(lambda: self.text.count(text) >= times or not self.reader.is_alive(), PATIENCE)
            assert self.text.count(text) >= times, f"waited in vain for {times} x {text!r} in:\n{self.text}"

    def type(self, line):
        self.child.stdin.write(line + "\n")
        self.child.stdin.flush()

    def kill(self, number):
        self.child.send_signal(number)

    def end(self, number=signal.SIGTERM):
        """@return the exit status, negative for a signal"""
        if self.child.poll() is None:
            self.kill(number)
            # Only what has stopped is told to go on. SIGCONT also takes back a stop that is still to come: the leak check of a program that
            # ends would wait for its own in vain.
            if "State:\tT" in pathlib.Path(f"/proc/{self.child.pid}/status").read_text():
                self.kill(signal.SIGCONT)
        self.child.wait(PATIENCE)
        self.reader.join(PATIENCE)
        return self.child.returncode


class Client:
    """A client of the manager that speaks the protocol by itself, and may send anything."""

    def __init__(self, path, name="rig", events=True):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        # Not by settimeout(), which makes connect(2) fail at once when as many wait to be accepted as may.
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_SNDTIMEO, struct.pack("ll", 2 * PATIENCE, 0))
        self.socket.connect(str(path))
        self.socket.settimeout(2 * PATIENCE)
        self.count, self.answers, self.answered, self.events = 0, {}, set(), []
        if name:
            with contextlib.suppress(BrokenPipeError):  # there are too many clients
                self.send([0, 1, name])
        if events:
            self.send([3, True])

    def send(self, packet):
        self.socket.send(packet if isinstance(packet, bytes) else cbor2.dumps(packet))

    def receive(self):
        """@return the packet, None at the connection's end"""
        data = self.socket.recv(1 << 17)
        packet = cbor2.loads(data) if data else None
        if packet and packet[0] == 2:
            assert packet[1] not in self.answered, "a request is answered twice"
            self.answered.add(packet[1])
            self.answers[packet[1]] = (packet[2], packet[3] if len(packet) > 3 else None)
        elif packet:
            self.events.append(next(iter(packet[2].values()), None))
        return packet

    def receive_more(self):
        if not self.receive():
            raise EOFError("the manager has ended the connection")

    def is_closed(self):
        with contextlib.suppress(ConnectionResetError):
            while self.receive():
                pass
        return True

    def request(self, command, argument):
        self.count += 1
        self.send([1, self.count, command, argument])
        return self.count

    def ask(self, name, **argument):
        return self.request(*command(name, **argument))

    def result(self, number):
        while number not in self.answers:
            self.receive_more()
        return self.answers.pop(number)

    def answer(self, number):
        """The reply, or "CODE: sentence" of a refusal."""
        result, reply = self.result(number)
        if not result:
            return reply
        sentence = reply["KeyErrorString"]
        assert (result & 0xFFFFFFFF) >> 12 == REFUSALS and reply["KeyErrorCode"] == result and sentence.endswith(".")
        hold_sentences([sentence])
        return f"{result & 0xFFF:X}: {sentence}"

    def do(self, command, **argument):
        return self.answer(self.ask(command, **argument))

    def is_served(self):
        return isinstance(self.do("GetTraceFilters"), dict)

    def get(self, trace, name):
        reply = self.do("GetTraceProperty", TraceName=trace, TracePropertyName=name)
        return reply["KeyTracePropertyValue"] if isinstance(reply, dict) else reply

    def set(self, trace, name, value):
        return self.do("SetTraceProperty", TraceName=trace, TracePropertyName=name, TracePropertyValue=value)

    def saw(self, *events):
        """Waits for as many events, and holds all there were against them."""
        while len(self.events) < len(events):
            self.receive_more()
        assert self.events == list(events)
        self.events = []

    def ask_mode(self, number, timeout=0):
        return self.ask("SetBasebandOperatingMode", BasebandOperatingMode=number, Timeout=timeout)

    def set_mode(self, number, timeout=0):
        return self.answer(self.ask_mode(number, timeout))

    def ask_reset(self, kind="Soft", reason="because"):
        return self.ask("ResetBaseband", BasebandResetType=kind + " reset", BasebandResetSubType="UserTriggered",
                        BasebandResetReason=reason)

    def reset(self, kind="Soft", reason="because"):
        return self.answer(self.ask_reset(kind, reason))

    def ask_erase(self):
        return self.ask("BasebandNVData", BasebandNVDataAction="Erase")

    def mode(self):
        reply = self.do("GetBasebandOperatingMode")
        return reply["KeyBasebandOperatingMode"] if isinstance(reply, dict) else reply

    def state(self):
        return self.do("GetBasebandBootState")["KeyBasebandBootState"]

    def wait_for(self, state):
        """@return itself, having seen nothing yet of the baseband, which is in this boot state"""
        until(lambda: self.state() == state, state)
        self.events = []
        return self

    def statistics(self, module=0):
        return self.do("GetStatistics", ReportingModuleType=module)[("Boot", "Commands", "Clients")[module]]

    def collect(self, reason="why"):
        """The folder of new trace logs, or the refusal."""
        reply = self.do("CollectTraceLogs", TraceLogsReason=reason)
        return pathlib.Path(reply["KeyTraceLogsFolder"]) if isinstance(reply, dict) else reply


class Manager:
    """A real manager on a socket, with a state and preferences of its own. `with` starts it, ready at once."""

    command = (MANAGER,)

    def __init__(self, *options, **environment):
        self.options = options
        self.kept = tempfile.TemporaryDirectory(prefix="ryn.")
        self.folder = pathlib.Path(self.kept.name)
        self.state, self.socket = self.folder / "state", self.folder / "corvane/manager.sock"
        self.preferences = self.folder / "config/corvane/com.quorvel.Corvane.json"
        self.environment = {"CORVANE_SOCKET": str(self.socket), "XDG_CONFIG_HOME": str(self.folder / "config"),
                            "XDG_RUNTIME_DIR": str(self.folder)} | environment

    def start(self):
        self.program = Program(*self.command, "--socket", self.socket, "--state", self.state, *self.options, **self.environment)
        self.says = self.program.says
        self.says("ready\n")

    def stop(self, number=signal.SIGTERM):
        assert self.program.end(number) == (0 if number == signal.SIGTERM else -number), self.program.text
        self.hold_log()
        return self.program.text

    def hold_log(self):
        """Holds the lines of its log, but for those of --trace-requests and of the audit."""
        hold_sentences(re.findall(r"^(?:Corvane: |<\d>)(?!COMMAND=|.* #\d+ [<>] )(?:Refused [^:]*: )?(.*)$", self.program.text, re.M))

    def restart(self, number=signal.SIGKILL):
        self.stop(number)
        self.start()

    def client(self, **options):
        return Client(self.socket, **options)

    def ready(self, state="Ready"):
        """A client that has seen nothing yet of the baseband, which is in this boot state."""
        return self.client().wait_for(state)

    def tool(self, line, **options):
        """Status, output and errors of one run of the tool."""
        return run(TOOL, *line.split(), **self.environment, **options)

    def does(self, line):
        """What the tool prints of commands that succeed."""
        status, output, errors = self.tool(line)
        assert status == 0, output + errors
        return output

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, kind, error, trace):
        status = self.program.end()
        self.kept.cleanup()
        if kind:
            print(self.program.text[-10_000:])
        else:
            assert status in (0, -signal.SIGKILL), self.program.text
            self.hold_log()


class ScriptedManager:
    """A manager that answers as a test tells it: by the next of `answers`, then with success."""

    def __init__(self, path, *answers):
        self.path = str(path)
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self.listener.bind(self.path)
        self.listener.listen(64)
        self.lock, self.clients = threading.Lock(), {}  # each with whether its events are on
        self.begin(answers)
        threading.Thread(target=self.serve, daemon=True).start()

    def begin(self, answers=()):
        """@param answers each a result, an object, and the events before it"""
        self.answers, self.requests, self.packets = list(answers), [], []

    def serve(self):
        with contextlib.suppress(OSError):  # it is closed
            while True:
                threading.Thread(target=self.converse, args=[self.listener.accept()[0]], daemon=True).start()

    def converse(self, client):
        with client:  # until nobody finds it any more
            with contextlib.suppress(OSError):
                while data := client.recv(1 << 17):
                    with self.lock:
                        self.take(client, cbor2.loads(data))
            with self.lock:
                self.clients.pop(client, None)

    def take(self, client, packet):
        kind = packet[0]
        if kind == 3:
            self.clients[client] = packet[1]
        elif kind == 1:
            self.requests.append((packet[2], packet[3]))
            result, value, events = self.answer()
            for event in events:
                client.send(cbor2.dumps([4, *event]))
            client.send(cbor2.dumps([2, packet[1], result] + ([] if value is Ellipsis else [value])))
        self.packets.append(f"hello {packet[2]}" if kind == 0 else f"events {packet[1]}" if kind == 3 else packet[2])

    def answer(self):
        answer = self.answers.pop(0) if self.answers else ()
        return (*answer, *(0, ..., ())[len(answer):])

    def broadcast(self, name, *payload):
        with self.lock:
            for client in [client for client, on in self.clients.items() if on]:
                with contextlib.suppress(BrokenPipeError, ConnectionResetError):  # it goes just now
                    client.send(cbor2.dumps([4, name, *payload]))

    def drop_all(self):
        with self.lock:
            for client in self.clients:
                client.shutdown(socket.SHUT_RDWR)

    def got(self, packet, count=1):
        until(lambda: self.packets.count(packet) >= count, f"{count} x {packet!r} in {self.packets}")

    def close(self):
        self.listener.shutdown(socket.SHUT_RDWR)  # wakes the thread
        os.unlink(self.path)
