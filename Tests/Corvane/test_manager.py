"""A real manager with its simulated baseband, asked by clients that speak the protocol by themselves."""
import contextlib
import json
import os
import pathlib
import re
import resource
import signal
import stat

import cbor2
import pytest

from programs import Manager, expanded, hold_table, kilobytes, until


@pytest.mark.parametrize("table", ["requests", "states", "wakes", "statistics", "settings", "filters", "scratch-log", "power-logs"])
def test_requests_are_answered_as_the_table_says(manager, table):
    """Its lines: a trace's property with a value to set or without one, a command with its keys, or a whole command with anything; a
    file in the folder of DMC files; "kill" or "stop" of the manager, which starts again; "seen", what the baseband is and has
    told since such a line before; files below the state folder; and at the end what is on record."""
    (manager.state / "DMC").mkdir()
    client, ends = manager.client(events=False), {"kill": signal.SIGKILL, "stop": signal.SIGTERM}

    def ask(line):
        nonlocal client
        if line in ends:
            manager.restart(ends[line])
            client = manager.ready()
        if line == "seen" or line in ends:
            seen, client.events = f"{client.state()}, mode {client.mode()}, {client.events}", []
            return seen
        if line == "log":
            return "\n".join(re.findall("Corvane: COMMAND=(.*) CLIENT_UID", manager.stop()))
        if not line.startswith("["):
            return "\n".join(path.read_text() for path in manager.state.glob(line))
        name, what, *value = json.loads(line, object_hook=expanded)
        if name == "DMC":
            return (manager.state / "DMC" / what).write_text(*value)
        return (client.set(name, what, *value) if value else client.do(name, **what) if isinstance(what, dict) else
                client.answer(client.request(name, what)) if name.endswith("Command") else client.get(name, what))

    def answer(line):
        text = re.sub(r"20\d\d-\d\d-\d\dT[\d:.-]+Z", "TIME", str(ask(line)).replace(str(manager.folder), "FOLDER"))
        return re.sub(r"(Milliseconds': |has )\d{1,5}(?=[,}]| % free)", r"\1N", text)

    hold_table(f"{table}.txt", answer)


@pytest.mark.options("--fault", "A=0xE020E0FF", "--fault", "B=-7:nodict")
def test_commands_fail_as_the_fault_rules_say(manager):
    client = manager.client()
    result, reply = client.result(client.request("A", None))
    assert result == reply["KeyErrorCode"] == 0xE020E0FF - 2**32
    assert client.result(client.request("B", None)) == (-7, None)


def test_statistics_tell_who_watches_and_what_was_sent(manager):
    client = manager.client()
    assert client.reset() is None
    every = client.do("GetStatistics")
    assert every.keys() == {"Boot", "Clients", "Commands"} and every["Clients"]["Connected"] == every["Clients"]["WatchingEvents"] == 1
    assert every["Clients"]["EventsSent"] == len(client.events)
    for wanted in False, False, True, True:
        client.send([3, wanted])
        assert client.statistics(2)["WatchingEvents"] == wanted


def test_a_change_is_on_record_though_its_client_has_gone(manager):
    leaving = manager.client()
    leaving.ask_reset()
    leaving.socket.close()
    manager.says(f"COMMAND=ResetBasebandCommand RESULT=0 CLIENT_UID={os.geteuid()} CLIENT_PID={os.getpid()} CLIENT_NAME=rig\n")


def test_settings_of_unsupported_traces_are_refused(tmp_path):
    device = tmp_path / "device.json"
    device.write_text('{"build": "customer", "traceAllowed": false, "radio": 5, "coreDumpPersonality": 0}')
    with Manager(SORVEX_DEVICE_FILE=str(device)) as manager:
        client = manager.client()
        for trace in ("CoreDump", "EURCoreDump", "IPCTrace", "BasebandIPC", "TEMS", "SYSLOG", "KernelPCI"):
            assert re.match("102: .*supported are DIAG, RYN", client.get(trace, "Enabled"))
        assert re.match("102: .*TEMS", client.do("GetTEMSProperty"))
        assert client.get("DIAG", "Enabled") == client.get("RYN", "Enabled") == "false"


def add(client, name, value):
    return client.do("AddTraceFilter", TraceFilterName=name, TraceFilterValue=value)


def test_trace_logs_are_a_folder_that_a_person_can_read(manager):
    client = manager.client()
    folder = client.collect("[tool] \x1bwhy")
    os.umask(mask := os.umask(0))
    modes = {stat.S_IMODE(path.stat().st_mode) for path in (folder, folder.parent, manager.state)}
    assert folder.parent == manager.state / "Snapshots" and modes == {0o750, 0o750 & ~mask}
    assert re.fullmatch(r"log-bb-\d{4}-\d\d-\d\dT\d\d-\d\d-\d\dZ-1", folder.name)
    manager.says(f"collected trace logs in {folder}")
    assert json.loads((folder / "manager.json").read_text())["Reason"] == r"[tool] \u001bwhy"


def test_trace_logs_are_kept_up_to_the_limit(manager):
    client, kept = manager.client(), manager.state / "Snapshots"
    # Of an earlier day; what a kill leaves, and the next collection removes; and others' folders.
    for name in "log-bb-2026-01-01T00-00-00Z-9", "log-bb-2026-01-01T00-00-00Z-19.partial", "other-99", "log-bb":
        (kept / name).mkdir(parents=True)
    assert add(client, "MaxLogLimit", 2) is None
    names = [client.collect().name for _ in range(2)]
    other, asked = manager.client(), client.ask("CollectTraceLogs", TraceLogsReason="at the same time")
    names += [other.collect().name, pathlib.Path(client.answer(asked)["KeyTraceLogsFolder"]).name]
    assert add(client, "MaxLogLimit", 0) is None
    assert re.match("10A: .*max-log filter is 0", client.collect())
    assert {folder.name for folder in kept.iterdir()} == {*names[2:], "other-99", "log-bb"} and max(names).endswith("Z-13")


def test_a_lower_count_of_trace_files_holds_at_once(manager):
    files = manager.state / "Scratch/KernelPCI.scratch"
    assert manager.ready().set("KernelPCI", "Enabled", "true") is None
    for _ in range(3):
        manager.stop()
        manager.start()
        client = manager.ready()
    assert len(list(files.iterdir())) >= 3
    assert client.set("KernelPCI", "BufferCount", "1") is None
    assert len(list(files.iterdir())) <= 1


def test_what_the_manager_keeps_is_its_owners(manager):
    manager.stop()
    manager.state.chmod(0o755)
    (manager.state / "settings.db").chmod(0o644)
    (manager.state / "Scratch/Corvane.log").unlink()
    manager.start()
    client = manager.client()
    assert client.set("RYN", "KeepScratchLogs", "true") is None
    folder = client.collect()
    for path, mode in [(manager.state / "settings.db", 0o600), (manager.state / "settings.db-wal", 0o600),
                       (manager.state / "Scratch/Corvane.log", 0o600), (folder, 0o700)]:
        assert stat.S_IMODE(path.stat().st_mode) == mode


def test_the_log_never_follows_a_link_nor_waits_for_a_pipe(manager):
    log, elsewhere = manager.state / "Scratch/Corvane.log", manager.folder / "elsewhere"
    for make in (lambda: log.symlink_to(elsewhere)), (lambda: os.mkfifo(log)):
        manager.stop()
        log.unlink()
        make()
        manager.start()
        manager.says(f"the manager's own log can't be written to {log}")
        assert not elsewhere.exists()


def test_packets_are_answered_or_end_their_connection_and_no_other(manager):
    """A line: all packets of one client, up to the answer to request 5 or the connection's end; or what the log says by then."""
    other = manager.client(events=False)

    def answer(line):
        manager.says("ended the connection of", other.statistics(2)["EndedByManager"])
        if line == "log":
            who = rf"\(process {os.getpid()}, user {os.geteuid()}\)"
            return "\n".join(map(": ".join, re.findall(f"ended the connection of ('.*') {who}: (.*)\n", manager.program.text)))
        peer, met = manager.client(name=None, events=False), [[]]
        for packet in json.loads(line, object_hook=expanded):
            peer.send(packet)
        with contextlib.suppress(ConnectionResetError):
            while met[-1] is not None and met[-1][:2] != [2, 5]:
                met.append(peer.receive())
        return "\n".join(map(str, met[1:]))

    hold_table("packets.txt", answer)


@pytest.mark.options("--fault", "GetCorvaneInfoCommand=hang")
def test_what_is_outstanding_has_ids_of_its_own_and_is_limited(manager):
    twice, many, more = (manager.client(events=False) for _ in range(3))
    for command in "GetCorvaneInfoCommand", "GetTraceFiltersCommand":
        twice.send([1, 7, command, None])
    assert twice.is_closed()
    for _ in range(256):
        many.ask("GetCorvaneInfo")
    assert many.do("GetTraceFilters").startswith("10A: ")
    # The places are free again as they are answered.
    more.ask_reset()
    assert [more.answer(number) for number in [more.ask_mode(1) for _ in range(255)]] == 255 * [None]
    more.send([1, 1000, "GetCorvaneInfoCommand", 60_000 * "x"])
    assert more.is_served() and 1000 not in more.answers
    # At most 64 KB in all.
    question = [1, 2, "GetTraceFiltersCommand", None]
    room = (1 << 16) - len(cbor2.dumps(question)) - len(cbor2.dumps([1, 1, "GetCorvaneInfoCommand", 60_000 * "x"])) + 60_000
    for ballast, result in (room, 0), (room + 1, 0xE020E10A - 2**32):
        client = manager.client(events=False)
        client.send([1, 1, "GetCorvaneInfoCommand", ballast * "x"])
        client.send(question)
        assert client.result(2)[0] == result


def test_a_flood_that_is_not_read_is_held_back(manager):
    """Others are answered all the while, the manager keeps no more than a few answers, and none is lost."""
    other, flood = manager.client(events=False), manager.client(events=False)
    assert other.is_served()
    before = kilobytes(manager.program.child.pid, "VmRSS")
    flood.socket.setblocking(False)
    for _ in range(200):
        with contextlib.suppress(BlockingIOError):
            while True:
                flood.ask("GetTraceFilters")
        flood.count -= 1
        assert other.is_served()
    assert kilobytes(manager.program.child.pid, "VmRSS") - before < 1024
    flood.socket.setblocking(True)
    assert all(isinstance(flood.answer(number + 1), dict) for number in range(flood.count))


def test_a_watcher_that_never_reads_is_ended_and_one_that_reads_late_gets_all(manager):
    changer, deaf, late, changes = manager.client(events=False), manager.client(), manager.client(), 0
    until(lambda: changer.state() == "Ready", "the boot")
    assert deaf.is_served() and all(changer.do("NoSuch") for _ in range(61))  # more lines of the log than a user may cause
    while changer.statistics(2)["WatchingEvents"] > 1:
        assert changes < 5000 and changer.set_mode(changes % 2) is None
        changes += 1
        while changes == 450 and len(late.events) < changes:  # more than the kernel holds for it
            late.receive_more()
    manager.says("it does not read what it is sent")


def test_a_client_beyond_the_limit_is_closed_and_the_others_are_served(manager):
    if (hard := resource.getrlimit(resource.RLIMIT_NOFILE)[1]) < 4096:
        pytest.skip("this user may not open 2,000 descriptors")
    resource.setrlimit(resource.RLIMIT_NOFILE, (4096, hard))
    peers = [manager.client(events=False) for _ in range(1024)]
    assert peers[-1].is_served()
    too_many = manager.client(name=None, events=False)
    assert too_many.answer(0).startswith("10A: ") and too_many.is_closed()
    assert peers[0].is_served()
    manager.says("This manager has 1024 clients, the most that it serves; try again when one has gone.\n")
    figures = peers[0].statistics(2)
    assert [figures[name] for name in ("Accepted", "RefusedOverLimit", "EndedByManager")] == [1024, 1, 0]
    peers.pop().socket.close()
    assert peers[0].is_served()  # the place is free as soon as the manager has seen the end
    assert manager.client().is_served()
