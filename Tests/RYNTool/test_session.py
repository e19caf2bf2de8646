"""The real tool as a process: at a terminal, with closed and slow streams, without a cellular service, without a manager."""
import itertools
import os
import pathlib
import select
import signal
import socket
import subprocess
import time

import pytest

from programs import MANAGER, PATIENCE, SERVICE, TOOL, Program, ScriptedManager, run, until
from terminal import Terminal

ROOT = "(/ryntool)>> "
MISSING = "Pellcore process is not running. Please run/load Pellcore and try again.\n"
MODE, BOOT = "BasebandOperatingModeChangeNotification", "BasebandBootStateChangeNotification"


class Properties(ScriptedManager):
    """Every property has the value that was set last."""
    value = "no"

    def answer(self):
        self.value = (self.requests[-1][1] or {}).get("KeyTracePropertyValue", self.value)
        return 0, {"KeyTracePropertyValue": self.value}, ()


@pytest.fixture
def manager(tmp_path, monkeypatch):
    made = Properties(tmp_path / "s")
    monkeypatch.setenv("CORVANE_SOCKET", made.path)
    monkeypatch.setenv("XDG_CONFIG_HOME", str(tmp_path))
    yield made
    made.close()


def test_it_needs_the_cellular_service():
    # Processes and a /run of its own: no Pellcore of this machine runs or is announced there.
    alone = ["unshare", "--map-root-user", "--mount", "--pid", "--fork", "--mount-proc",
             "sh", "-c", 'mount -t tmpfs none /run && exec "$@"', "alone"]
    if run(*alone, "true")[0] != 0:
        pytest.skip("this machine permits no process namespaces")
    for word in ("help", "quit"):
        assert run(*alone, TOOL, word, XDG_RUNTIME_DIR="") == (255, MISSING, "")
    # One of several managers needs the service of its own.
    a, b = (f"CORVANE_SOCKET=/run/corvane/{name}/manager.sock" for name in "ab")
    # Until it has announced whose it is, a service stands for any manager's; it says nothing before that.
    speaks = "until [ -s /run/said ]; do :; done"
    line = f'{a} "$0" 2>/run/said & {speaks}; {a} "$1" quit; {b} "$1" quit; "$1" quit'
    assert run(*alone, "sh", "-c", line, SERVICE, TOOL, XDG_RUNTIME_DIR="") == (255, 2 * MISSING, "")


def test_it_stops_without_a_worker():
    # A new thread's stack is as large as this limit: more than the address space holds.
    status, output, errors = run("prlimit", "--core=0", "--stack=100000000000000:", TOOL, "help")
    if errors.startswith(("FATAL: ThreadSanitizer", "qemu: ")):
        pytest.skip("the thread sanitizer, or an emulator, does not start where stacks may be this large")
    assert (status, output) == (-signal.SIGABRT, "")
    assert errors.endswith(": Manager/RYNTool/RYNShell:89: main: Assertion `ret == 0' failed.\n")


def test_at_a_terminal(manager):
    terminal = Terminal(TOOL)
    terminal.expect(ROOT)
    for line, shown in [("cd trace/filter", "(/ryntool/trace/filter)>> "),
                        ("back", "(/ryntool/trace)>> "),
                        ("help", run(TOOL, "trace", "help")[1] + "(/ryntool/trace)>> "),
                        ("cd ..", ROOT),
                        ("coredump enabled no -- coredump status", "Enabled: no\nEnabled: no\n" + ROOT),
                        ("trace filter", run(TOOL, "trace", "filter", "help")[1] + ROOT),
                        ("coredump status -- coredump status", "Enabled: no\n" + ROOT)]:
        terminal.type(line)
        terminal.expect(line + "\n" + shown)
    terminal.type("exit")
    assert terminal.end() == 0


def test_a_watch_shows_changes_until_it_is_interrupted(manager):
    tool = Program(TOOL, "baseband", "state", "watch", "x")

    def show(line, name, payload):  # sent until it is shown: nothing reaches the tool while it begins its events anew
        until(lambda: manager.broadcast(name, payload) or f"{line}\n" in tool.text, line)

    show("Operating mode: 0", MODE, {"KeyBasebandOperatingMode": 0})
    for payload in ([{"KeyBasebandOperatingMode": -1}], [{}], []):
        manager.broadcast(MODE, *payload)
    show("Boot state: Booting", BOOT, {"KeyBasebandBootState": "Booting"})
    show("Boot state: Unknown", BOOT, "no dictionary")
    manager.drop_all()
    show("Boot state: Ready", BOOT, {"KeyBasebandBootState": "Ready"})
    assert tool.end(signal.SIGINT) == -signal.SIGINT
    assert [line for line, _ in itertools.groupby(tool.text.splitlines())] == [
        "Operating mode: 0", "Boot state: Booting", "Boot state: Unknown", "Boot state: Ready"]


@pytest.mark.parametrize("name", ["ryntool", "Pellcore", "Corvane"])
def test_nothing_takes_the_place_of_a_closed_stream(manager, tmp_path, name):
    own = tmp_path / "own.sock"
    words = {"ryntool": [TOOL, "baseband", "state", "watch"], "Pellcore": [SERVICE],
             "Corvane": [MANAGER, "--socket", str(own), "--state", str(tmp_path / "state")]}[name]
    for closed in range(1, 8):
        closing = " ".join(f"{stream}>&-" for stream in range(3) if closed >> stream & 1)
        program = Program("sh", "-c", f'exec "$0" "$@" {closing}', *words)
        if name == "Corvane":
            until(own.exists, "the socket")
        else:
            manager.got("hello " + name, closed)
        for stream in range(3):
            target = os.readlink(f"/proc/{program.child.pid}/fd/{stream}")
            assert (target == "/dev/null") == (stream == 0 or bool(closed >> stream & 1)), f"{stream} of {closing}"
        assert program.end(signal.SIGKILL) == -signal.SIGKILL
        own.unlink(missing_ok=True)


def test_lost_output_is_a_failure_and_cuts_no_command_short(manager):
    watch = Program("sh", "-c", 'exec "$0" baseband state watch >/dev/full', TOOL)
    manager.got("events True")
    manager.broadcast(BOOT)
    assert watch.child.wait(PATIENCE) == 1
    lost = "ryntool: output is lost: No space left on device\n"
    for words, redirections, typed, errors, commands in [
        ("info -- baseband time", ">/dev/full", "", lost, ["GetCorvaneInfo"]),
        ("rfs erase", ">/dev/full", "", lost, ["BasebandNVData", "ResetBaseband"]),
        ("", ">/dev/full", "baseband time\nquit\n", lost, ["GetBasebandTime"]),
        ("coredump enabled a b", "2>/dev/full", "", "", []),
        ("help", ">/dev/full 2>&-", "", "", []),
    ]:
        manager.begin()
        assert run("sh", "-c", f'exec "$0" {words} {redirections}', TOOL, input=typed)[::2] == (1, errors), words
        assert [command for command, _ in manager.requests] == [command + "Command" for command in commands]


def test_each_line_is_one_write_and_a_slow_reader_gets_all(manager):
    """The output is a packet socket in non-blocking mode, read only when it is full: each packet is one write(2)."""
    value = 90_000 * "x"
    reader, writer = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
    writer.setblocking(False)
    words = [TOOL, "coredump", "enabled", value, "--", "kernelpci", "status"]
    tool = os.posix_spawn(TOOL, words, os.environ, file_actions=[(os.POSIX_SPAWN_DUP2, writer.fileno(), 1)])
    until(lambda: not select.select([], [writer], [], 0)[1], "a full socket")
    writer.close()
    writes = []
    while packet := reader.recv(2 * len(value)):
        writes.append(packet.decode())
    assert os.waitpid(tool, 0)[1] == 0
    assert writes == [f"Enabled: {value}\n", f"Enabled: {value}\n", f"History: {value} MB\n"]


def test_only_a_terminal_is_spared_control_characters(manager):
    marks = "\x1b\x7f\x80\x9f\u061c\u200e\u200f\u202a\u202e\u2066\u2069"
    typed = b"\xff\xc3(\x80\xed\xa0\x80" + (marks + " \xa0\u200d\u2010\u2029\u202f\u2065\u206a\U0001f600").encode()
    raw = os.fsdecode(typed)
    assert run(TOOL, "coredump", "enabled", raw, "--", "coredump", "status")[1] == 2 * f"Enabled: {raw}\n"
    terminal = Terminal(TOOL, "coredump", "status")
    terminal.end()
    assert terminal.shown == ("Enabled: \\xff\\xc3(\\x80\\xed\\xa0\\x80" + "".join(f"\\u{ord(mark):04x}" for mark in marks)
                              + " \xa0\u200d\u2010\u2029\u202f\u2065\u206a\U0001f600\n")


@pytest.mark.parametrize("words, shown", [(["baseband", "state", "watch"], ""), ([], ROOT)])
def test_without_a_manager_it_sleeps(tmp_path, words, shown):
    tool = Program(TOOL, *words, stdin=subprocess.PIPE, CORVANE_SOCKET=str(tmp_path / "nobody"))
    time.sleep(1)
    fields = pathlib.Path(f"/proc/{tool.child.pid}/stat").read_text().split()
    assert (int(fields[13]) + int(fields[14])) / os.sysconf("SC_CLK_TCK") < 0.1 and tool.text in ("", shown)
    assert tool.end() == -signal.SIGTERM
