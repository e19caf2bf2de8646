"""Disks that are full or read-only, or have damaged what they kept, and a journal that takes nothing."""
import contextlib
import os
import pathlib
import re
import shutil
import signal
import socket
import tempfile
import time

from programs import MANAGER, Manager, until
from programs import run as execute
from torture import Skipped

BLOCK, PAGE, FRAME = 4096, 1024, 24 + 1024
NOT_WRITTEN, TOO_FULL = "109: ", "10A: "


def mount(*words):
    status, _, errors = execute("mount", *words)
    if status != 0:
        raise Skipped(f"this machine permits no mounts of one's own: {errors.strip()}")


class SmallDisk:
    """In memory. What it keeps outlives the manager."""

    def __init__(self, path):
        self.path, self.ballast = path, path / "ballast"
        mount("-t", "tmpfs", "-o", "size=2m,mode=0750", "tmpfs", path)

    def fill(self, spared=0):
        """Takes every byte that is left, but for `spared` ones."""
        with open(self.ballast, "ab", buffering=0) as file:
            with contextlib.suppress(OSError):
                while file.write(bytes(BLOCK)):
                    pass
            file.truncate(file.seek(0, os.SEEK_END) - spared)

    def empty(self):
        self.ballast.unlink()


def try_to_set(client, value):
    """The database may have room left within itself; otherwise the refusal must say why."""
    answer = client.set("DIAG", "History", value)
    assert answer is None or answer.startswith(NOT_WRITTEN), f"a setting on a full disk is answered {answer}"
    return answer is None


def change_on_full_disk(manager, disk, history):
    """Every kind of change, refused while there is no room, and nothing half done."""
    client = manager.client()
    assert client.set("DIAG", "History", history) is None, "a setting is refused on a disk with room"
    disk.fill()
    kept = "2000" if try_to_set(client, "2000") else history
    for answer in client.set("RYN", "History", "2000"), client.collect("full"):
        assert str(answer).startswith((NOT_WRITTEN, TOO_FULL)), f"a change on a full disk is answered {answer}"
    assert (client.get("DIAG", "History"), client.get("RYN", "History")) == (kept, "5"), "what was refused has changed"
    assert not list(manager.state.glob("Snapshots/*")), "a refused collection leaves something behind"
    disk.empty()


def write_until_full(manager, disk, blocks):
    """Until the disk itself says no; whatever was acknowledged is there after a kill."""
    client, value = manager.client(), 100
    disk.fill(blocks * BLOCK)
    while client.set("DIAG", "History", str(value + 1)) is None:
        value += 1
    manager.stop(signal.SIGKILL)
    disk.empty()
    manager.start()
    assert manager.client().get("DIAG", "History") == str(value), "an acknowledged setting is lost on a full disk"


def start_on_full_disk(manager, disk):
    """Nothing needs to be written to start and to say what is stored."""
    stored = manager.client().get("DIAG", "History")
    manager.stop(signal.SIGKILL)
    disk.fill()
    manager.start()
    client = manager.client()
    assert client.get("DIAG", "History") == stored, "a manager that starts on a full disk has lost a setting"
    was_set = try_to_set(client, "2000")
    assert client.get("DIAG", "History") == ("2000" if was_set else stored), "a refused setting has changed"
    disk.empty()
    assert client.set("DIAG", "History", "1999") is None, "a setting is refused on a disk that has room again"


def start_on_read_only_disk(run, manager, disk):
    """A manager that could remember nothing doesn't start: it says so, and leaves everything as it is."""
    stored = manager.client().get("DIAG", "History")
    manager.stop(signal.SIGKILL)
    mount("-o", "remount,ro", disk.path)
    status, _, errors = execute(MANAGER, "--socket", manager.socket, "--state", manager.state, **manager.environment)
    run.figure("on a read-only disk: " + errors.strip())
    assert status == 1 and errors.count("\n") == 1, f"a start on a read-only disk ends with {status}: {errors}"
    mount("-o", "remount,rw", disk.path)
    manager.start()
    assert manager.client().get("DIAG", "History") == stored, "a read-only disk has cost a setting"


def disk(run):
    """Needs mounts of this process's own."""
    manager = Manager()
    manager.environment["XDG_CONFIG_HOME"] = str(manager.state / "config")
    manager.state.mkdir()
    small = SmallDisk(manager.state)
    with manager:
        rounds = run.times(5, 50)
        for number in range(rounds):
            change_on_full_disk(manager, small, str(17 + number))
            write_until_full(manager, small, run.random.randint(1, 16))
            start_on_full_disk(manager, small)
        start_on_read_only_disk(run, manager, small)
        manager.stop()
        execute("umount", manager.state)
    run.figure(f"{rounds} times filled to the last byte: refused in a sentence, nothing lost, and on again with room")


class JournalledManager(Manager):
    """Its standard error is the journal's stream, as far as it can tell."""

    command = ("sh", "-c", 'export JOURNAL_STREAM=$(stat -Lc %d:%i /proc/self/fd/2); exec "$0" "$@"', MANAGER)


def journal(run):
    """Needs mounts of this process's own. Neither the journal's stream nor its socket is read while the manager works."""
    mount("-t", "tmpfs", "tmpfs", "/run")
    path, changes = pathlib.Path("/run/systemd/journal/socket"), run.times(1000, 5000)
    path.parent.mkdir(parents=True)
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as entries, JournalledManager() as manager:
        entries.bind(str(path))
        client, begin = manager.client(), time.monotonic()
        with manager.program.printed:  # which whoever reads the stream waits for
            for number in range(changes):
                assert client.set("DIAG", "Low_Watermark", str(number % 100 + 1)) is None, "a change is refused"
            took = time.monotonic() - begin
        # The first line that finds room again says it.
        until(lambda: client.set("DIAG", "History", "17") is None and "nobody took them" in manager.program.text, "what is missing")
        entries.setblocking(False)
        taken = 0
        with contextlib.suppress(BlockingIOError):
            while entries.recv(4096):
                taken += 1
        missing = sum(map(int, re.findall(r"(\d+) lines are missing", manager.program.text)))
        printed = manager.program.text.count("COMMAND=SetTraceProperty")
        run.figure(f"{changes} changes in {took:.1f} s: the journal took {taken} lines of them and its stream {printed}, and the "
                   f"manager says that {missing} are missing")
        assert changes <= taken + printed + missing <= changes + 100, "lines are lost without being counted"


def flipped(content, bit):
    changed = bytearray(content)
    changed[bit // 8] ^= 1 << bit % 8
    return bytes(changed)


def serve(manager, damage):
    """Starts on what stands in the state folder. It must serve and take a change. @return what it had stored, what it said"""
    manager.start()
    client = manager.client()
    stored = client.get("DIAG", "History")
    assert client.set("DIAG", "History", "18") is None, f"a setting is refused after {damage}"
    assert client.get("DIAG", "History") == "18", f"a setting is lost after {damage}"
    return stored, manager.stop()


def is_said(text):
    return "the settings in " in text or "version number" in text or "log of the settings" in text


def damage_database(run, manager, sound):
    """The bits of the header and of the schema's text: what isn't empty of the first page."""
    header = 110  # the file's, the page's, and where the schema's only row begins
    row = next(place for place in range(header, PAGE) if sound[place])
    bits = [*range(8 * header), *range(8 * row, 8 * PAGE)]
    chosen = run.random.sample(bits, run.times(60, len(bits)))
    damaged = [(f"flipping bit {bit}", flipped(sound, bit)) for bit in chosen]
    damaged += [(f"cutting the database to {size} bytes", sound[:size]) for size in range(0, len(sound), 512)]
    said = 0
    for damage, content in damaged:
        for entry in manager.state.iterdir():
            shutil.rmtree(entry) if entry.is_dir() else entry.unlink()
        (manager.state / "settings.db").write_bytes(content)
        stored, text = serve(manager, damage)
        assert is_said(text) or stored == "17", f"{damage} has cost a setting and was not said"
        said += is_said(text)
    run.figure(f"{len(damaged)} damaged databases ({len(chosen)} of {len(bits)} bits of header and schema, each length in steps of "
               f"512 bytes): {said} found and said, the others harmless, all served")


def damage_log(run, manager):
    """Whatever is wrong with the log: the last acknowledged value is there, or what is lost is said."""
    manager.start()
    values = [str(value) for value in range(100, 108)]
    for value in values:
        manager.client().set("DIAG", "History", value)
    manager.stop(signal.SIGKILL)
    database, log = manager.state / "settings.db", manager.state / "settings.db-wal"
    whole, sound = database.read_bytes(), log.read_bytes()
    flips, lost = run.times(40, 1000), 0
    for number in range(flips):
        # Half of them in the headers, which are little of the log.
        frame = run.random.randrange(len(sound) // FRAME)
        in_header = (32 + (frame - 1) * FRAME if frame else 0) + run.random.randrange(24)
        bit = 8 * (run.random.randrange(len(sound)) if number % 2 else in_header) + run.random.randrange(8)
        database.write_bytes(whole)
        log.write_bytes(flipped(sound, bit))
        stored, text = serve(manager, f"flipping bit {bit} of the log")
        assert stored == values[-1] or is_said(text), f"flipping bit {bit} of the log has cost a setting and was not said"
        lost += stored != values[-1]
    run.figure(f"{flips} damaged logs: {lost} had lost changes, each of them said")


def state(run):
    # In memory: what is looked at here isn't the disk, and waiting for it would take minutes.
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.path.isdir("/dev/shm") else None) as memory:
        manager = Manager()
        manager.state.symlink_to(memory)
        with manager:
            manager.client().set("DIAG", "History", "17")
            manager.stop()
            damage_database(run, manager, (manager.state / "settings.db").read_bytes())
            damage_log(run, manager)
