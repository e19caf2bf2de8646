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

from programs import Manager, command, kilobytes
from torture import Waits, allow_descriptors, is_clean

MAX_VALUES = 1024


def send_at_once(client, packet):
    """@return whether the kernel took it"""
    try:
        client.socket.send(packet)
        return True
    except OSError:
        return False


def request(number, name, **argument):
    return cbor2.dumps([1, number, *command(name, **argument)])


def property_of(name, value, number=1, trace="DIAG"):
    return request(number, "SetTraceProperty", TraceName=trace, TracePropertyName=name, TracePropertyValue=value)


def send_fatal(run, manager, packet):
    """One packet that ends the connection, again and again."""
    while True:
        peer = manager.client(events=False)
        peer.send(packet)
        assert peer.is_closed() and not peer.answers.keys() - {0}, "a packet is answered that should end its connection"


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
    deaf = [manager.client() for _ in range(watchers)]  # noqa: F841
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


# What costs the manager most: as many values as may be, behind as much text as fits. It is unknown, so the answer is short.
COSTLIEST = request(1, "Unknown", list=(MAX_VALUES - 3) * [{}], text=60_000 * "\u00fc")
MANY_VALUES = b"\x84\x01\x01\x61x\x9a\x00\x01\xff\x00" + 0x1FF00 * b"\xa0"  # an empty map is one byte

# By name: the attack, its arguments, and the milliseconds that the manager may work before it answers a connected client and one
# that connects; other than the wait, they don't depend on the machine's other work.
ATTACKS = {
    "nobody": (lambda *_: signal.pause(),),
    "nested packets": (send_fatal, (100_000 * b"\x81",)),
    "floods of requests": (flood, (cbor2.dumps([1, 1, "GetStatisticsCommand", {}]),)),
    'floods of "events"': (flood, (cbor2.dumps([3, False]),)),
    "packets of 130,000 values": (send_fatal, (MANY_VALUES,)),
    "the costliest packets, 64 connections": (flood, (COSTLIEST, 64), 50, 100),
    "the costliest packets, 1,000 connections": (flood, (COSTLIEST, 1000), 500, 500),
    "64 writers of settings": (write,),
    "texts of 100 KB": (flood, (property_of("File_Secondary", 100_000 * "x"),)),
    "waiting requests": (pile_up,),
    "2,000 connections": (connect_two_thousand, (), 500, 500),
    "watchers that never read": (watch_without_reading,),
}
ENDS_ITSELF = watch_without_reading


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
        return client.is_served()
    except (OSError, EOFError):
        return client.is_closed() and client.answer(0).startswith("10A: ")  # there are too many


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
    with Manager(**watchdog.environment) as manager:
        behaved, process = manager.client(events=False), manager.program.child.pid
        assert behaved.set("DIAG", "History", "17") is None
        at_rest = kilobytes(process, "VmRSS")
        run.figure(f"memory at rest {at_rest} KB")
        for name, (attack, arguments, longest, longest_of_new) in [
                (name, (*row, *((), 250, 500)[len(row) - 1:])) for name, row in ATTACKS.items()]:
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
            run.figure(f"{name}: {run.describe(connected.waits)} (the manager worked {1000 * max(connected.work):.2f} ms), of a new "
                       f"client {1000 * max(connecting.waits):.2f} ms ({1000 * max(connecting.work):.2f} ms); memory {peak} KB")
            assert run.is_sanitized or peak < 48 * 1024, "the manager's memory"
            assert run.is_sanitized or 1000 * max(connected.work) < longest, "the other client waits"
            assert run.is_sanitized or 1000 * max(connecting.work) < longest_of_new, "a new client waits"
        run.figure(f"longest pause between two pings for a watchdog of {watchdog.limit} s: {watchdog.longest_pause():.1f} s")
        assert run.is_sanitized or watchdog.longest_pause() < watchdog.limit, "a watchdog would have ended the manager"
        time.sleep(2)
        left = kilobytes(process, "VmRSS") - at_rest
        run.figure(f"memory left behind {left} KB")
        assert run.is_sanitized or left < 2 * 1024, "the manager keeps memory"
        is_clean("the manager", manager.program.end(), manager.program.text, 0)
