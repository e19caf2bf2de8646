"""A manager that answers everything with success, but misbehaves once in each connection, at one phase of it."""
import concurrent.futures
import contextlib
import itertools
import signal
import socket
import tempfile
import threading
import time

import cbor2

from programs import PATIENCE, TOOL, Program, ScriptedManager, kilobytes
from programs import run as execute
from torture import is_clean

PHASES = CONNECT, HELLO, EVENTS, REQUEST, REPLY = range(5)  # after each; before the answer to a request
PHASE_OF = {0: HELLO, 1: REQUEST, 3: EVENTS}  # by the kind of the packet
BOOT, MODE = "BasebandBootStateChangeNotification", "BasebandOperatingModeChangeNotification"
MAX_PACKET = 1 << 17


def nested(depth):
    return {"k": nested(depth - 1)} if depth else 1


def changed(random, packet):
    """A packet with a few of its bytes changed."""
    packet = bytearray(cbor2.dumps(packet))
    for _ in range(random.randint(1, 4)):
        packet[random.randrange(len(packet))] = random.randrange(256)
    return bytes(packet)


def misbehaviours(run):
    """By name, what is sent to a client whose last request has this number; nothing: the connection is dropped."""
    return {
        "drops": lambda number: (),
        "sends an empty packet": lambda number: [b""],
        "sends half a packet": lambda number: [b"\x84\x02\x01"],
        "sends a nested packet": lambda number: [100_000 * b"\x81"],
        "answers what was not asked": lambda number: [[2, 1 << 62, 0]],
        "sends an event": lambda number: [[4, BOOT, "not a dictionary"]],
        "sends an event of its own": lambda number: [[4, 1000 * "e"]],
        "greets": lambda number: [[0, 1, "manager"]],
        "answers twice": lambda number: [[2, number, 0, {}]],
        "answers a number": lambda number: [[2, number, 0, -1]],
        "answers bytes": lambda number: [[2, number, 0, b"\xff\xfe"]],
        "answers 120 KB": lambda number: [[2, number, 0, {"KeyTracePropertyValue": 120_000 * "v"}]],
        "answers wrong types": lambda number: [[2, number, -1, {
            "KeyTracePropertyValue": 1, "KeyBasebandOperatingMode": "x", "KeyErrorString": nested(14)}]],
        "floods with events": lambda number: itertools.repeat(cbor2.dumps([4, MODE, {"KeyBasebandOperatingMode": 1}]), 100_000),
    } | {f"sends random packets ({count})": lambda number: [changed(run.random, [2, number, 0, {"KeyTracePropertyValue": "value"}])]
         for count in range(run.times(2, 100))}


class HostileManager(ScriptedManager):
    """What it sends waits for its reader for so many seconds."""

    def __init__(self, path, phase, misbehave, patience=0):
        self.phase, self.misbehave, self.patience = phase, misbehave, patience
        self.has_misbehaved = threading.Event()
        super().__init__(path)

    def behave(self, client):
        """Yields at each phase, with the number of the last request."""
        number = 1
        yield CONNECT, number
        while data := client.recv(MAX_PACKET):
            kind, *rest = cbor2.loads(data)
            number = rest[0] if kind == 1 else number
            yield PHASE_OF[kind], number
            if kind == 1:
                client.send(cbor2.dumps([2, number, 0, {"KeyTracePropertyValue": "1"}]))
                yield REPLY, number

    def converse(self, client):
        with client, contextlib.suppress(OSError, StopIteration):  # it ends before that phase
            phases = self.behave(client)
            packets = list(self.misbehave(next(number for phase, number in phases if phase == self.phase)))
            client.settimeout(self.patience)
            with contextlib.suppress(OSError):
                for packet in packets:
                    client.send(packet if isinstance(packet, bytes) else cbor2.dumps(packet))
            client.settimeout(PATIENCE)
            self.has_misbehaved.set()
            for _ in phases if packets else ():  # it behaves again
                pass


ASKS, BOTH, WATCHES = {CONNECT, HELLO, REQUEST, REPLY}, set(PHASES), {CONNECT, HELLO, EVENTS}
COMMANDS = {  # with the phases that its connection reaches
    **dict.fromkeys(["info", "trace get DIAG History", "trace set DIAG History 9", "baseband state 0", "baseband reset soft",
                     "trace dump", "trace filter status", "stats get-statistics", "tems mode"], ASKS),
    "baseband diagnostics run rftest": BOTH, "baseband state watch": WATCHES}


def converse(command, phase, name, misbehave):
    """@return how long the tool took to end"""
    with tempfile.TemporaryDirectory() as folder, contextlib.closing(
            HostileManager(f"{folder}/s", phase, misbehave)) as manager:
        begin = time.monotonic()
        if command == "baseband state watch":
            # It comes back after each misbehaviour that costs the connection, so it meets the first one for sure.
            tool = Program(TOOL, *command.split(), CORVANE_SOCKET=f"{folder}/s")
            assert manager.has_misbehaved.wait(PATIENCE), f"'{command}' has not come as far as phase {phase}"
            status, said = tool.end(signal.SIGINT), tool.text
            right = (-signal.SIGINT,)
        else:
            status, _, said = execute(TOOL, *command.split(), CORVANE_SOCKET=f"{folder}/s")
            right = 0, 1
        is_clean(f"'{command}' of a manager that {name} (phase {phase})", status, said, *right)
        return time.monotonic() - begin


def flood_a_watching_tool(run):
    """A tool that watches and whose output nobody reads is sent many more values than bytes, as fast as it takes them."""
    events = [cbor2.dumps([4, BOOT, {"KeyBasebandBootState": state, "ballast": 1000 * [{}]}]) for state in ("Ready", "Resetting")]
    with tempfile.TemporaryDirectory() as folder, contextlib.closing(HostileManager(
            f"{folder}/s", EVENTS, lambda number: itertools.islice(itertools.cycle(events), 20_000), patience=1)) as manager:
        _unread, writer = socket.socketpair()
        tool = Program("sh", "-c", 'exec "$0" baseband state watch >&0', TOOL, stdin=writer, CORVANE_SOCKET=f"{folder}/s")
        assert manager.has_misbehaved.wait(PATIENCE), "the tool has not watched"
        peak = kilobytes(tool.child.pid, "VmHWM")
        run.figure(f"flooded with events of 1,000 objects, the tool took at most {peak} KB")
        assert run.is_sanitized or peak < 32 * 1024, "a flood of events takes the tool's memory"
        is_clean("the flooded tool", tool.end(signal.SIGINT), tool.text, -signal.SIGINT)


def manager(run):
    flood_a_watching_tool(run)
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        cases = [(command, phase, *way) for command, phases in COMMANDS.items() for phase in phases
                 for way in misbehaviours(run).items()]
        took = list(pool.map(converse, *zip(*cases)))
    run.figure(f"{len(cases)} conversations of the real tool; it ended by itself after {run.describe(took)}")
    assert run.is_sanitized or max(took) < 10, "a tool takes too long to end"
