"""The manager as a service of the system: what it tells systemd and the journal, signals, its folders, scarce descriptors."""

import contextlib
import itertools
import os
import pathlib
import resource
import signal
import socket
import sqlite3
import tempfile
import time

import pytest

from programs import FIXTURES, MANAGER, PATIENCE, Client, Manager, Program, kilobytes, run, until


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_systemd_is_told_of_start_life_and_end(tmp_path, number):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notified:
        notified.bind(str(tmp_path / "notify"))
        notified.settimeout(PATIENCE)
        with Manager(NOTIFY_SOCKET=str(tmp_path / "notify"), WATCHDOG_USEC="400000") as manager:
            told = iter(lambda: notified.recv(100), None)
            assert b"READY=1" in itertools.islice(told, 5) and next(told) == b"WATCHDOG=1"
            manager.program.kill(number)
            assert b"STOPPING=1" in itertools.islice(told, 20)
            assert manager.program.child.wait(PATIENCE) == 0


class ShortJournal(Manager):
    """Its standard error is the journal's stream, as far as it can tell, and takes no line behind a warning."""

    command = ("bash", "-c", '{ export JOURNAL_STREAM=$(stat -Lc %d:%i /proc/self/fd/2); exec "$0" "$@" >/dev/null; } 2> >(sed -u /^.4/q)', MANAGER)


def test_the_journal_gets_levels_and_may_go_away():
    with ShortJournal("--verbose", "--metrics", "/dev/null/figures") as manager:
        client = manager.client()
        client.do("MakeCoffee")
        (manager.folder / "corvane/diag.sock").mkdir()
        for name, value in ("Enabled", "true"), ("Mode", "3"), ("History", "17"), ("History", "18"):
            assert client.set("DIAG", name, value) is None
        manager.program.reader.join(PATIENCE)
        assert {line.split(" ")[0] for line in manager.program.lines if "COMMAND=" not in line} == {
            "<7>listening", "<3>the", "<5>backend:", "<5>ready\n", "<6>Refused", "<6>DIAG", "<4>There"}


def test_the_log_takes_a_line_a_second_of_a_client_and_has_two_files():
    with Manager() as manager:
        client = manager.client()
        for _ in range(100):
            client.do("MakeCoffee")
        assert 50 < (manager.folder / "corvane/manager.log").read_text().count("Refused rig: There is no command") <= 60
    with Manager("--trace-requests") as manager:  # all of them
        client = manager.client()
        assert client.set("RYN", "History", "1") is None
        for _ in range(400):
            client.do("MakeCoffee", Cup=2000 * "x")
        manager.says('rig #2 < 0xE020E100 {"KeyErrorCode":-534716160,"KeyErrorString":"There is no command')
        for log, most in ("corvane/manager.log", 1 << 17), ("state/Scratch/Corvane.log", 1 << 19):
            newer, older = ((manager.folder / (log + end)).stat().st_size for end in ("", ".1"))
            assert newer < most + 2200 and most <= older < most + 2200


@pytest.mark.parametrize("variable, below, named", [("XDG_STATE_HOME", "", ""), ("HOME", ".local/state", "named.sock")])
def test_a_users_manager_has_its_folders_in_the_users(variable, below, named):
    user = ["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups"] if os.geteuid() == 0 else []
    with tempfile.TemporaryDirectory() as name:  # pytest's are closed to others
        os.chmod(name, 0o777)
        folder = pathlib.Path(name)
        environment = {"CORVANE_SOCKET": named and str(folder / named), "XDG_STATE_HOME": "", variable: str(folder)}
        manager = Program(*user, MANAGER, XDG_RUNTIME_DIR=str(folder), XDG_CONFIG_HOME=str(folder), **environment)
        manager.says("ready\n")
        assert (folder / (named or "corvane/manager.sock")).is_socket() and (folder / below / "corvane/settings.db").exists()
        assert manager.end() == 0


def test_roots_manager_has_its_folders_in_the_systems(tmp_path):
    own = ["unshare", "--mount", *([] if os.geteuid() == 0 else ["--map-root-user"])]
    if run(*own, "true")[0] != 0:
        pytest.skip("this machine permits no mounts of one's own")
    with contextlib.closing(sqlite3.connect(tmp_path / "settings.db")) as store:
        store.executescript((FIXTURES / "settings-1.0.0.sql").read_text() + "INSERT INTO setting VALUES('trace', 'SYSLOG/Enabled', 'true');")
    script = 'cd "$1"; for at in /run /var/lib /var/log; do mount -t tmpfs tmpfs $at; done; mkdir /var/lib/corvane; cp settings.db /var/lib/corvane; exec "$0"'
    manager = Program(*own, "sh", "-c", script, MANAGER, tmp_path, CORVANE_SOCKET="", XDG_RUNTIME_DIR="/nonexistent", XDG_STATE_HOME="/nonexistent")
    manager.says("ready\n")
    refusal = "Trace SYSLOG can't be recorded: there is no journal that the manager's user may read; members of group systemd-journal may read the system's."
    assert f"Corvane: {refusal}\n" in manager.text
    root = pathlib.Path(f"/proc/{manager.child.pid}/root")
    assert (root / "run/corvane/manager.sock").is_socket() and (root / "var/lib/corvane/settings.db-wal").exists()
    client = Client(root / "run/corvane/manager.sock")
    assert (client.get("SYSLOG", "Enabled"), client.set("SYSLOG", "Enabled", "true")) == ("false", f"10B: {refusal}")
    assert manager.end() == 0


def test_a_client_that_sends_no_hello_is_ended_in_its_time(manager):
    polite, begun = manager.client(name=None, events=False), []
    host = manager.client()
    until(lambda: host.statistics(2)["Connected"] == 2, "the client")
    polite.send([0, 1, "polite, after a while"])
    for pause in 0, 0.2:
        time.sleep(pause)
        begun.append((time.monotonic(), manager.client(name=None, events=False)))
    for begin, silent in begun:
        assert silent.is_closed() and time.monotonic() - begin >= 10
    manager.says("user 0): it sent no hello in time" if os.geteuid() == 0 else "it sent no hello in time", 2)
    assert polite.is_served()
    # A time counts from the request, however long nobody has asked anything.
    time.sleep(0.3)
    begin = time.monotonic()
    assert polite.reset() is None and time.monotonic() - begin > 0.2


def test_without_descriptors_clients_wait_until_there_are(manager):
    process, first = manager.program.child.pid, manager.client()
    assert first.is_served()
    open_ones = {int(name) for name in os.listdir(f"/proc/{process}/fd")}
    before = resource.prlimit(process, resource.RLIMIT_NOFILE)
    none_free = next(number for number in itertools.count() if number not in open_ones)
    resource.prlimit(process, resource.RLIMIT_NOFILE, (none_free, before[1]))
    waiting = manager.client()
    asked = waiting.ask("GetCorvaneInfo")
    manager.says("can't accept clients for a moment: Too many open files")
    assert first.is_served()
    resource.prlimit(process, resource.RLIMIT_NOFILE, before)
    assert isinstance(waiting.answer(asked), dict)
    assert manager.program.text.count("can't accept") < 10  # it pauses


def test_a_manager_raises_its_limit_of_descriptors():
    before = resource.getrlimit(resource.RLIMIT_NOFILE)
    if before[1] < 1088:
        pytest.skip("this user may not open enough descriptors")
    resource.setrlimit(resource.RLIMIT_NOFILE, (500, before[1]))
    with Manager() as manager:
        resource.setrlimit(resource.RLIMIT_NOFILE, before)
        assert resource.prlimit(manager.program.child.pid, resource.RLIMIT_NOFILE)[0] == 1088


@pytest.mark.options("--fault", "GetCorvaneInfoCommand=hang")
def test_without_memory_the_client_that_takes_most_is_ended(manager):
    process = manager.program.child.pid
    if (taken := kilobytes(process, "VmSize")) > 1 << 22:
        pytest.skip("a sanitizer takes more addresses than there are")
    others, greedy = [manager.client()], manager.client(name="greedy")
    greedy.ask("GetCorvaneInfo", x=60000 * "x")
    assert others[0].is_served()
    unlimited = resource.prlimit(process, resource.RLIMIT_AS)
    resource.prlimit(process, resource.RLIMIT_AS, (taken << 10, unlimited[1]))
    while "ended" not in manager.program.text:
        others.append(manager.client(events=False))
        with contextlib.suppress(EOFError, OSError):
            for _ in range(250):  # each is kept: few clients are enough, whatever the heap has left
                others[-1].ask("GetCorvaneInfo")
            others[-1].is_served()
    manager.says(f"{os.getpid()}, user {os.geteuid()}): it takes memory that there is not\n")
    resource.prlimit(process, resource.RLIMIT_AS, unlimited)
    assert greedy.is_closed() and manager.program.text.index("'greedy'") < manager.program.text.index("user ") and manager.client().is_served()
