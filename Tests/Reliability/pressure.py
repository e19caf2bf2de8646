"""Little memory, a slow disk, many clients."""
import collections
import concurrent.futures
import contextlib
import itertools
import os
import pathlib
import re
import resource
import signal
import tempfile
import time

import cbor2

from hostile_clients import attacked, change_setting, property_of, request, watch_without_reading, write
from programs import Manager, Program, command, kilobytes, until
from torture import Skipped, Waits, allow_descriptors, is_clean


def ask_and_never_read(run, manager):
    """What is answered later too, for what a timer or the disk does then; who loses the connection comes again."""
    requests, peers = mixed_requests(run.random), [None] * 256
    while True:
        for index, peer in enumerate(peers):
            try:
                if peer is None:
                    peer = peers[index] = manager.client()
                    peer.socket.setblocking(False)
                for packet in itertools.islice(requests, 20):
                    peer.socket.send(packet)
            except BlockingIOError:
                pass
            except OSError:
                peers[index] = None


@contextlib.contextmanager
def serving_again(manager):
    """What a manager must do after all that is done to it meanwhile."""
    assert manager.client().set("KernelPCI", "BufferCount", "7") is None
    yield manager
    assert until(lambda: is_served_again(manager)) == "7", "afterwards a client is answered wrongly"
    is_clean("the manager", manager.program.end(), manager.program.text, 0)


@contextlib.contextmanager
def little_memory(run, left):
    """A manager with a limit on its addresses, so many KB above what it has at rest."""
    with Manager() as manager, serving_again(manager):
        process = manager.program.child.pid
        at_rest = kilobytes(process, "VmSize")
        resource.prlimit(process, resource.RLIMIT_AS, 2 * (1024 * (at_rest + left),))
        yield manager
        taken = kilobytes(process, "VmPeak") - at_rest
        assert taken > left * 9 // 10, "the memory was never short"
        run.figure(f"with {left} KB left it took {taken} KB")


def control_group(limit):
    """A new group of processes that may have so much memory together: its folder of the kernel's, and the file that tells the most they
    had. None where this user can't make one."""
    hierarchy = pathlib.Path("/sys/fs/cgroup")
    limits, peak = "memory.max", "memory.peak"
    if not (hierarchy / "cgroup.controllers").exists():
        hierarchy, limits, peak = hierarchy / "memory", "memory.limit_in_bytes", "memory.max_usage_in_bytes"
    group = hierarchy / f"torture-{os.getpid()}"
    try:
        group.mkdir()
        (group / limits).write_text(limit)
        return group, group / peak
    except OSError:
        with contextlib.suppress(OSError):
            group.rmdir()
        return None, None


def unit_memory(run):
    """What the unit may have is enough for the most that clients can take, the kernel's buffers for them included."""
    unit = pathlib.Path(__file__).parents[2] / "Packaging/systemd/system/corvane.service.in"
    limit = re.search("^MemoryMax=(.*)", unit.read_text(), re.M)[1]
    group, peak = control_group(limit)
    if not group:
        run.figure("the unit's memory: not tried, no control group can be made")
        return

    class InGroup(Manager):
        command = ("sh", "-c", f'echo $$ >{group}/cgroup.procs && exec "$@"', "sh", *Manager.command)

    try:
        with InGroup() as manager, serving_again(manager):
            watch_without_reading(run, manager)
        run.figure(f"of the {limit} of its unit it took {int(peak.read_text()) >> 10} KB, the kernel's buffers included")
    finally:
        group.rmdir()


def is_served_again(manager):
    """Not at once where memory is short still."""
    with contextlib.suppress(OSError, EOFError):
        return manager.client(events=False).get("KernelPCI", "BufferCount")


def memory(run):
    """Clients that take more memory than there is."""
    if run.is_sanitized:
        raise Skipped("a sanitizer takes more addresses than there are left")
    allow_descriptors(4096)
    with little_memory(run, 16 * 1024) as manager:
        watch_without_reading(run, manager)
    with little_memory(run, 3 * 1024) as manager, attacked(ask_and_never_read, run, manager):
        time.sleep(run.times(5, 20))
    unit_memory(run)


WRITES = {  # by what is written: a change, the syncs at least before it is answered, and how many changes a sync at least there are
    "settings": (change_setting, 1, 10),
    "preferences": (lambda number: property_of("History", str(number % 100 + 1), number, trace="RYN"), 2, 10),
    "erasures": (lambda number: request(number, "BasebandNVData", BasebandNVDataAction="Erase"), 2, 0),
    "preferences that are erased": (
        lambda number: property_of("History", "7", number, trace="RYN") if number % 2 else
        request(number, "BasebandNVData", BasebandNVDataAction="Erase"), 2, 0),
    "modes": (lambda number: request(number, "SetBasebandOperatingMode", BasebandOperatingMode=number % 2 * 6), 1, 0),
    "trace logs": (lambda number: request(number, "CollectTraceLogs", TraceLogsReason="slow"), 2, 0),
}


def slow(run):
    """A disk on which a sync takes 10 ms."""
    if run.is_sanitized:
        raise Skipped("a sanitizer must be loaded first itself")
    sync = 0.01

    with tempfile.NamedTemporaryFile() as count:
        count.write(bytes(4)), count.flush()

        def syncs():
            count.seek(0)
            return int.from_bytes(count.read(), "little")

        with Manager(LD_PRELOAD=str(run.build / "Tests/Reliability/libslow_sync.so"), SLOW_SYNC_COUNT=count.name) as manager:
            client = manager.client(events=False)

            def served():
                return sum(client.statistics(1)["Served"].values())

            for name, (change, of_one, least) in WRITES.items():
                writer, alone = manager.client(events=False), Waits(manager.program.child.pid)
                for packet in map(change, range(1, 7)):
                    alone.measure(lambda packet=packet: (writer.send(packet), writer.receive()))
                assert min(alone.waits) >= of_one * sync, f"one of the {name} is acknowledged before it is on disk"
                reset = client.ask_reset()  # mode changes wait until the baseband has booted, and then there are many at once
                with attacked(write, run, manager, change):
                    waits, met, before = Waits(manager.program.child.pid), [], (time.monotonic(), syncs(), served())
                    left = run.times(200, 2000)
                    while left > 0:
                        left -= reset in client.answers
                        earlier = syncs()
                        waits.measure(lambda: client.get("DIAG", "Mode"))
                        # This process may have stood still before or after the question, while the disk went on.
                        met.append(min(syncs() - earlier, int(max(waits.of_manager[-1], 0) / sync) + 1))
                        time.sleep(0.001)
                    seconds, synced, changes = (now - then for now, then in zip((time.monotonic(), syncs(), served() - len(met)), before))
                run.figure(f"{name}: of one writer at least {1000 * min(alone.waits):.1f} ms each, of 64 {changes / seconds:.0f} a second, "
                           f"{changes / synced:.1f} a sync; a client that only asks: {run.describe(waits.waits)}, and met "
                           f"{sorted(collections.Counter(met).items())} (syncs, times)")
                # The rest of one sync and, 95 times in 100, at most one more: 20 ms.
                assert sorted(met)[len(met) * 95 // 100] <= 1, f"writers of {name} keep one that only asks waiting"
                assert max(met) <= 5, f"many changes of {name} at once keep one that only asks waiting"
                assert changes >= least * synced, f"each of the {name} has a sync of its own"


def mixed_requests(random):
    """Of every kind; many exclude each other, so that a refusal of the manager is an answer too."""
    commands = [
        *map(command, ("GetCorvaneInfo", "GetBasebandBootState", "GetBasebandTime", "GetStatistics", "GetTraceFilters", "NoSuch")),
        command("GetTraceProperty", TraceName="DIAG", TracePropertyName="History"),
        *[command("SetTraceProperty", TraceName=trace, TracePropertyName="History", TracePropertyValue=value)
          for trace, value in (("DIAG", "33"), ("RYN", "6"), ("DIAG", "nonsense"))],
        command("SetBasebandOperatingMode", BasebandOperatingMode=0),
        command("SetBasebandOperatingMode", BasebandOperatingMode=1, Timeout=1),
        command("BasebandSyncFS", FSSyncWaitForCompletion=True),
        command("BasebandDiagnostics", BasebandDiagnosticsAction="BasebandDiagnosticsActionAbort"),
        command("SimulatePowerNotification", PowerNotificationMessage=0x10),
        command("AddTraceFilter", TraceFilterName="MaxLogLimit", TraceFilterValue=2),
        command("CollectTraceLogs", TraceLogsReason="load")]
    for number in itertools.count(1):
        yield cbor2.dumps([1, number, *random.choice(commands)])


def load(run):
    """Clients of the library with their threads, others with many requests under way at a time, and the real tool."""
    seconds = run.times(5, 60)
    answered, tools = [], []
    tool_lines = ["info", "trace set DIAG History 5 -- trace get DIAG History", "baseband state 0", "trace dump",
                  "stats get-statistics", "baseband diagnostics abort"]

    def go_on(client):
        while time.monotonic() < end:
            client()

    def be_peer():
        peer, requests = manager.client(events=False), mixed_requests(run.random)

        def ask():
            burst = run.random.randint(1, 30)
            for packet in itertools.islice(requests, burst):
                peer.send(packet)
            assert all(peer.receive()[0] == 2 for _ in range(burst))
            answered.append(burst)
        return ask

    def use_tool():
        status, output, errors = manager.tool(run.random.choice(tool_lines))
        is_clean("the tool", status, errors, 0, 1)
        tools.append(output)

    with Manager() as manager:
        library = Program(run.build / "Tests/Reliability/load", manager.socket, seconds, run.random.randrange(1 << 31))
        end = time.monotonic() + seconds
        with concurrent.futures.ThreadPoolExecutor(32) as pool:
            list(pool.map(go_on, [*(be_peer() for _ in range(24)), *8 * [use_tool]]))
        is_clean("the clients of the library", library.child.wait(), library.text, 0)
        library.end(signal.SIGCONT)
        run.figure(f"64 clients; {sum(answered) + int(library.text)} commands answered, and {len(tools)} runs of the tool")
        is_clean("the manager", manager.program.end(), manager.program.text, 0)
