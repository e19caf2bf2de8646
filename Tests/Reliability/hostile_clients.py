"""Clients that misbehave, each kind in a process of its own, while one that behaves measures what it meets."""
import contextlib
import itertools
import multiprocessing
import os
import signal
import socket
import threading
import time

import cbor2

from programs import Manager, kilobytes
from torture import Waits, allow_descriptors, is_clean

UNANSWERED = "GetBasebandTimeCommand"  # the manager is started so that it never answers this one
MAX_PACKET, MAX_VALUES = 1 << 17, 1024
TOO_MANY, NOT_ALLOWED = 0xE020E10A, 0xE020E10C


def send_at_once(client, packet):
    """@return whether the kernel took it"""
    try:
        client.socket.send(packet)
        return True
    except OSError:
        return False


def request(number, command, **argument):
    return cbor2.dumps([1, number, command + "Command", {"Key" + key: value for key, value in argument.items()} or None])


def property_of(name, value, number=1, trace="DIAG"):
    return request(number, "SetTraceProperty", TraceName=trace, TracePropertyName=name, TracePropertyValue=value)


def refusal_before_the_end(client):
    """The result that a connection was ended with, 0 when there was none; None when the manager serves it all the same."""
    try:
        packet = client.receive()
    except ConnectionResetError:  # told once, before what the manager said
        packet = client.receive()
    return 0 if packet is None else packet[2] & 0xFFFFFFFF if packet[:2] == [2, 0] and client.is_closed() else None


def stay_half_open(run, manager):
    """Connections that say nothing at all, up to the manager's limit for them."""
    peers = [manager.client(name=None, events=False) for _ in range(500)]
    signal.pause()
    return peers


def send_fatal(run, manager, packet, name="peer"):
    """One packet that ends the connection, at most with a reply that says why, again and again."""
    while True:
        peer = manager.client(name=name, events=False)
        peer.send(packet)
        assert refusal_before_the_end(peer) is not None, "a connection outlives what should end it"


def send_random(run, manager):
    """Valid packets with a few bytes changed or cut."""
    valid = [property_of("Low_Watermark", "7"), cbor2.dumps([3, False]),
             request(2, "BasebandDiagnostics", BasebandDiagnosticsOptions={"k": 1})]
    while True:
        peer, is_open = manager.client(events=False), True
        for _ in range(50):
            packet = bytearray(run.random.choice(valid))
            for _ in range(run.random.randint(0, 3)):
                packet[run.random.randrange(len(packet))] = run.random.randrange(256)
            is_open = is_open and send_at_once(peer, packet[:len(packet) - run.random.randint(0, 1)])


def wait_twice(run, manager):
    waiting = cbor2.dumps([1, 9, UNANSWERED, None])
    while True:
        peer = manager.client(events=False)
        send_at_once(peer, waiting), send_at_once(peer, waiting)
        assert peer.is_closed(), "an id may be used twice"


def flood(run, manager, packet, connections=8):
    """Requests as fast as the kernel takes them; no answer is read."""
    peers = [manager.client(events=False) for _ in range(connections)]
    for peer in peers:
        peer.socket.setblocking(False)
    while True:
        if not sum(send_at_once(peer, packet) for peer in peers):
            os.sched_yield()


def change_setting(number):
    return property_of("Low_Watermark", str(number % 100 + 1), number)


def write(run, manager, change=change_setting, connections=64):
    """Each change is on disk before it is answered."""
    peers, number = [manager.client(events=False) for _ in range(connections)], 0
    while True:
        for peer in peers:
            number += 1
            peer.send(change(number))
        assert all(peer.receive()[2] == 0 for peer in peers), "a change isn't stored"


def connect_two_thousand(run, manager):
    while True:
        [manager.client(events=False) for _ in range(2000)]


def watch_without_reading(run, manager, watchers=900):
    """As many as may, that switch events on and read none, while the mode changes; until all have lost their connections."""
    deaf = [manager.client(events=False) for _ in range(watchers)]
    for peer in deaf:
        peer.send([3, True])
    changer = manager.client(events=False)
    for change in range(10_000):
        try:
            changer.set_mode(change % 2)
            if change and changer.statistics(2)["WatchingEvents"] == 0:
                return
        except (OSError, EOFError):  # where memory is short it may be the one that ends
            changer = manager.client(events=False)
    raise AssertionError("watchers that never read keep their connections")


def pile_up(run, manager):
    """Large arguments and timers that must wait: the baseband boots, as long as somebody resets it. No answer is read."""
    peers = [manager.client(events=False) for _ in range(64)]
    for peer in peers:
        peer.socket.setblocking(False)
    number = 0
    while True:
        for peer in peers:
            number += 2
            send_at_once(peer, request(number - 1, "ResetBaseband", BasebandResetType="Soft reset", BasebandResetReason=1000 * "r"))
            send_at_once(peer, cbor2.dumps([1, number, "BasebandSyncFSCommand", {
                "KeyFSSyncWaitForCompletion": True, "ballast": 100_000 * "b"}]))
            while number % 64:
                number += 1
                if not send_at_once(peer, request(number, "SetBasebandOperatingMode", BasebandOperatingMode=1, Timeout=3600)):
                    break
        os.sched_yield()


def send_long_texts(run, manager):
    peer, text = manager.client(events=False), 100_000 * "x"
    while True:
        for answer in (peer.set("DIAG", "File_Secondary", text), peer.set(text, "Enabled", "true"), peer.collect(text),
                       peer.do("AddTraceFilter", TraceFilterName=text, TraceFilterValue=1)):
            assert answer.startswith("101: ") and len(answer) < 1000, f"100 KB of text are answered {answer}"
        assert peer.do(text).startswith("100: "), "a command of 100 KB is not refused"


def come_as_another_user(run, manager):
    """A user that is neither root nor the manager's, and in no group that may."""
    for path, mode in (manager.folder, 0o755), (manager.socket.parent, 0o755), (manager.socket, 0o666):
        path.chmod(mode)
    os.setgroups([]), os.setgid(65534), os.setuid(65534)
    while True:
        assert refusal_before_the_end(manager.client(events=False)) == NOT_ALLOWED, "another user was served"


# What costs the manager most: as many values as may be, behind as much text as fits. It is unknown, so the answer is short.
COSTLIEST = request(1, "Unknown", list=(MAX_VALUES - 3) * [{}], text=60_000 * "\u00fc")
MANY_VALUES = b"\x84\x01\x01\x61x\x9a\x00\x01\xff\x00" + 0x1FF00 * b"\xa0"  # an empty map is one byte
INFO = request(1, "GetCorvaneInfo")

# By name: the attack, its arguments, and the milliseconds that the manager may work before it answers a connected client and one
# that connects; other than the wait, they don't depend on the machine's other work.
ATTACKS = {
    "nobody": (lambda *_: signal.pause(),),
    "half-open connections": (stay_half_open,),
    "no hello": (send_fatal, (INFO, None)),
    "another version": (send_fatal, ([0, 2, "x"], None)),
    "oversized packets": (send_fatal, (bytes(MAX_PACKET + 1),)),
    "nested packets": (send_fatal, (100_000 * b"\x81",)),
    "truncated packets": (send_fatal, (INFO[:-1],)),
    "random packets": (send_random,),
    "ids that wait already": (wait_twice,),
    "floods of requests": (flood, (cbor2.dumps([1, 1, "GetStatisticsCommand", {}]),)),
    'floods of "events"': (flood, (cbor2.dumps([3, False]),)),
    "packets of 130,000 values": (send_fatal, (MANY_VALUES,)),
    "the costliest packets, 64 connections": (flood, (COSTLIEST, 64), 50, 100),
    "the costliest packets, 1,000 connections": (flood, (COSTLIEST, 1000), 500, 500),
    "64 writers of settings": (write,),
    "texts of 100 KB": (send_long_texts,),
    "waiting requests": (pile_up,),
    "2,000 connections": (connect_two_thousand, (), 500, 500),
    "watchers that never read": (watch_without_reading,),
    "another user": (come_as_another_user,),
}
ENDS_ITSELF, NEEDS_ROOT = watch_without_reading, come_as_another_user


@contextlib.contextmanager
def attacked(attack, *arguments):
    """@return the attacking process, which must neither fail nor end, but for the one that does"""
    attacker = multiprocessing.get_context("fork").Process(target=attack, args=arguments)
    attacker.start()
    yield attacker
    if attack is ENDS_ITSELF:
        attacker.join()
    assert attacker.exitcode == (0 if attack is ENDS_ITSELF else None), "the attack has failed"
    attacker.kill()
    attacker.join()


def new_client_asks(manager):
    client = manager.client(events=False)
    try:
        return isinstance(client.do("GetTraceFilters"), dict)
    except (OSError, EOFError):
        return client.is_closed() and client.answers[0][0] & 0xFFFFFFFF == TOO_MANY


class Watchdog:
    """Hears the manager's pings, as a service manager does."""

    def __init__(self, limit):
        name = f"corvane-watchdog-{os.getpid()}"
        self.limit, self.environment = limit, {"NOTIFY_SOCKET": "@" + name, "WATCHDOG_USEC": str(limit * 1_000_000)}
        self.socket, self.pings = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM), []
        self.socket.bind("\0" + name)
        threading.Thread(target=self.hear, daemon=True).start()

    def hear(self):
        while notice := self.socket.recv(4096):
            if b"WATCHDOG=1" in notice:
                self.pings.append(time.monotonic())

    def longest_pause(self):
        return max((after - before for before, after in itertools.pairwise(self.pings)), default=0)


def clients(run):
    allow_descriptors(8192)
    watchdog = Watchdog(10)
    with Manager("--fault", UNANSWERED + "=hang", **watchdog.environment) as manager:
        behaved, process = manager.client(events=False), manager.program.child.pid
        assert behaved.set("DIAG", "History", "17") is None
        at_rest, highest = kilobytes(process, "VmRSS"), 0
        run.figure(f"memory at rest {at_rest} KB")
        for name, (attack, arguments, longest, longest_of_new) in [
                (name, (*row, *((), 250, 500)[len(row) - 1:])) for name, row in ATTACKS.items()]:
            if attack is NEEDS_ROOT and os.geteuid() != 0:
                run.figure(f"{name}: not tried, only root can act as one")
                continue
            with open(f"/proc/{process}/clear_refs", "w") as peak:
                peak.write("5")  # from here on VmHWM is of what comes, proc(5)
            connected, connecting = Waits(process), Waits(process)
            with attacked(attack, run, manager, *arguments) as attacker:
                done = 0
                while done < run.times(300 if run.is_sanitized else 3000, 30_000) or attack is ENDS_ITSELF and attacker.is_alive():
                    assert connected.measure(lambda: behaved.get("DIAG", "History")) == "17", "the other client is answered wrongly"
                    assert done % 100 or connecting.measure(lambda: new_client_asks(manager)), "a new client is answered wrongly"
                    done += 1
            peak = kilobytes(process, "VmHWM")
            highest = max(highest, peak)
            run.figure(f"{name}: {run.describe(connected.waits)} (the manager worked {1000 * max(connected.work):.2f} ms), of a new "
                       f"client {1000 * max(connecting.waits):.2f} ms ({1000 * max(connecting.work):.2f} ms); memory {peak} KB")
            assert run.is_sanitized or 1000 * max(connected.work) < longest, "the other client waits"
            assert run.is_sanitized or 1000 * max(connecting.work) < longest_of_new, "a new client waits"
        run.figure(f"longest pause between two pings for a watchdog of {watchdog.limit} s: {watchdog.longest_pause():.1f} s")
        assert run.is_sanitized or watchdog.longest_pause() < watchdog.limit, "a watchdog would have ended the manager"
        time.sleep(2)
        left = kilobytes(process, "VmRSS") - at_rest
        run.figure(f"memory left behind {left} KB; highest memory of the manager {highest} KB")
        assert run.is_sanitized or left < 2 * 1024, "the manager keeps memory"
        assert run.is_sanitized or highest < 48 * 1024, "the manager's memory"
        is_clean("the manager", manager.program.end(), manager.program.text, 0)
