"""The manager is killed (SIGKILL) at random moments."""
import contextlib
import itertools
import signal
import socket
import subprocess
import threading
import time

from programs import TOOL, Manager, Program, kilobytes, until
from terminal import Terminal
from tshark import is_sound


class Setting:
    """One setting that one writer changes all the time."""

    def __init__(self, name, values):
        self.name, self.values = name, itertools.cycle(values)
        self.possible = set()  # what a restarted manager may say: the last acknowledged value, or one under way

    def next(self):
        self.value = str(next(self.values))
        self.possible.add(self.value)
        return self.value

    def write_as_client(self, client, progress):
        with contextlib.suppress(OSError, EOFError):
            while client.set("DIAG", self.name, self.next()) is None:
                self.possible = {self.value}
                progress.release()
        progress.release(100)

    def write_with_tool(self, manager, progress):
        """At its prompt; it must see the manager's end as a failed command and leave as asked."""
        tool = Program(TOOL, stdin=subprocess.PIPE, **manager.environment)
        while " failed\n" not in tool.text:
            value = self.next()
            tool.type(f"trace set DIAG {self.name} {value}")
            tool.says(f"{self.name} = {value}")
            if " failed\n" not in tool.text:
                self.possible = {self.value}
                progress.release()
        progress.release(100)
        tool.type("quit")
        assert tool.child.wait() == 0, "the tool that writes has not ended as asked"


def check_events(manager, watch):
    """Each change of the mode must stand in the watching tool's terminal, in order, and once."""
    client = manager.client(events=False)
    until(lambda: client.statistics(2)["WatchingEvents"] == 1, "the watching tool")
    for mode in (0, 1, 0, 1):
        client.set_mode(mode)
    watch.expect("".join(f"Operating mode: {mode}\n" for mode in (0, 1, 0, 1)))


def kill(run):
    settings = [Setting("High_Watermark", range(101)), Setting("Low_Watermark", range(101)), Setting("History", range(1000, 2000))]
    kills, acknowledged, longest = run.times(30, 500), 0, 0
    with Manager() as manager:
        watch = Terminal(TOOL, "baseband", "state", "watch", **manager.environment)
        for setting in settings:
            setting.possible = {manager.client(events=False).get("DIAG", setting.name)}
        for _ in range(kills):
            check_events(manager, watch)
            progress, writes = threading.Semaphore(0), run.random.randint(1, 100)
            writers = [threading.Thread(target=setting.write_as_client, args=(manager.client(), progress))
                       for setting in settings[:2]]
            writers.append(threading.Thread(target=settings[2].write_with_tool, args=(manager, progress)))
            for writer in writers:
                writer.start()
            for _ in range(writes):
                progress.acquire()
            time.sleep(run.random.uniform(0, 0.003))  # any moment of a write, not only its beginning
            manager.stop(signal.SIGKILL)
            for writer in writers:
                writer.join()
            acknowledged += writes
            begin = time.monotonic()
            manager.start()
            longest = max(longest, time.monotonic() - begin)
            assert "damaged" not in manager.program.text, "the settings were damaged"
            for setting in settings:
                stored = manager.client(events=False).get("DIAG", setting.name)
                assert stored in setting.possible, f"an acknowledged {setting.name} is lost: there is {stored}"
                setting.possible = {stored}
        watch.type("\x03")
        assert watch.end() == -signal.SIGINT
    run.figure(f"{kills} kills, more than {acknowledged} acknowledged settings, none lost; "
               f"longest start after a kill {1000 * longest:.0f} ms")


def erase(run):
    kills, erased = run.times(20, 150), 0
    with Manager() as manager:
        for number in range(kills):
            client = manager.client()
            # What an erasure puts back: in the settings, in the preferences, and in the baseband's non-volatile data.
            for answer in (client.set("DIAG", "History", "17"), client.set("RYN", "History", "7"), client.set_mode(6),
                           client.do("AddTraceFilter", TraceFilterName="MaxLogLimit", TraceFilterValue=3)):
                assert answer is None, f"a change is answered {answer}"
            moment = time.monotonic() + run.random.uniform(0, (0.0004, 0.002, 0.015)[number % 3])
            asked = client.ask_erase()
            while time.monotonic() < moment:  # no sleep is as short
                pass
            manager.stop(signal.SIGKILL)
            answer = "none"
            with contextlib.suppress(OSError, EOFError):
                answer = client.answer(asked)
            manager.start()
            client = manager.ready()
            found = {client.get("DIAG", "History") == "256", client.get("RYN", "History") == "5", client.mode() == 1,
                     client.do("GetTraceFilters")["MaxLogLimit"] == 20}
            assert len(found) == 1, "an erasure is half done"
            assert found == {True} or answer == "none", "an acknowledged erasure has not happened"
            erased += found == {True}
    run.figure(f"{kills} kills in an erasure: {erased} had happened, the others had not")


def make_messages(client):
    """Changes the mode as often as it can, each of which is a procedure of some twenty messages."""
    with contextlib.suppress(OSError, EOFError):
        mode = 0
        while client.set_mode(mode) is None:
            mode = 3 - mode


@contextlib.contextmanager
def messages_until_a_kill(manager):
    maker = threading.Thread(target=make_messages, args=(manager.client(events=False),))
    maker.start()
    yield
    manager.stop(signal.SIGKILL)
    maker.join()


def recording(run):
    kills = run.times(20, 200)
    with Manager() as manager:
        for name, value in ("Enabled", "true"), ("Use_Threshold", "false"), ("History", "1"):
            assert manager.client().set("DIAG", name, value) is None
        for _ in range(kills):
            with messages_until_a_kill(manager):
                time.sleep(run.random.uniform(0.15, 0.4))
            manager.start()
        files = list(manager.state.glob("Scratch/DIAG.scratch/*"))
        size = sum(file.stat().st_size for file in files)
        assert files and all(map(is_sound, files)) and size <= 1 << 20, f"{size} bytes are recorded where 1 MB is the limit"
        run.figure(f"{kills} kills: each of {len(files)} files opens, {size // 1024} KB")
        stream_to_the_deaf(run, manager)
        manager.start()


def stream_to_the_deaf(run, manager):
    """Whoever doesn't read the live stream costs a limited amount of memory."""
    manager.client().set("DIAG", "Mode", "3")
    with socket.socket(socket.AF_UNIX) as first, socket.socket(socket.AF_UNIX) as second:
        for reader in first, second:
            reader.connect(str(manager.folder / "corvane/diag.sock"))
        before = kilobytes(manager.program.child.pid, "VmRSS")
        with messages_until_a_kill(manager):
            time.sleep(run.times(3, 20))
            grown = kilobytes(manager.program.child.pid, "VmRSS") - before
    run.figure(f"two readers that don't read: {grown} KB more memory")
    assert run.is_sanitized or grown < 4096, "readers that don't read grow the manager"
