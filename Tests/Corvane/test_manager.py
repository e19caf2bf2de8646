"""A real manager with its simulated baseband, asked by clients that speak the protocol by themselves."""
import contextlib
import json
import os
import pathlib
import re
import resource
import stat

import cbor2
import pytest

from programs import Manager, expanded, hold_table, kilobytes, until


def test_requests_are_answered_as_the_table_says(manager):
    """Its lines: a trace's property with a value to set or without one, a command with its keys, or a whole command with anything."""
    (manager.state / "DMC").mkdir()
    for name, content in [("broken", "{"), ("number", '{"groups": [1]}'), ("other", '{"groups": [], "more": 1}'),
                          ("typo", '{"groups": ["NAS", "RCC"]}')]:
        (manager.state / f"DMC/{name}.json").write_text(content)
    client = manager.client(events=False)

    def answer(line):
        name, what, *value = json.loads(line, object_hook=expanded)
        answered = (client.set(name, what, *value) if value else client.do(name, **what) if isinstance(what, dict) else
                    client.answer(client.request(name, what)) if name.endswith("Command") else client.get(name, what))
        return str(answered).replace(str(manager.folder), "FOLDER")

    hold_table("requests.txt", answer)


@pytest.mark.options("--fault", "A=0xE020E0FF", "--fault", "B=-7:nodict", "--fault", "C=drop", "--fault", "D=malformed",
         "--fault=GetTraceFiltersCommand=hang")
def test_commands_fail_as_the_fault_rules_say(manager):
    client = manager.client()
    result, reply = client.result(client.request("A", None))
    assert result == reply["KeyErrorCode"] == 0xE020E0FF - 2**32
    assert client.result(client.request("B", None)) == (-7, None)
    client.request("D", None)
    assert not isinstance(cbor2.loads(client.socket.recv(100)), list)
    hanging = client.ask("GetTraceFilters")
    assert client.do("GetTEMSProperty") == {"KeyTEMSMode": "OFF"} and hanging not in client.answers
    client.request("C", None)
    assert client.is_closed()


def test_statistics_tell_what_happened_and_keep_what_was_reported(manager):
    client = manager.client()
    for key, value in ("LastRecoveryTime", 100), ("LastHardResetTime", 7):
        assert client.do("ReportingStatistics", ReportingModuleType=0, ReportingData={"KeyBootModule" + key: value}) is None
    assert client.reset("Hard", "\u009b") is None
    every = client.do("GetStatistics")
    assert every["Boot"]["HardResets"] == every["Clients"]["Connected"] == 1
    assert every["Clients"]["EventsSent"] == len(client.events) and every["Clients"]["WatchingEvents"] == 1
    for wanted in False, False, True, True:
        client.send([3, wanted])
        assert client.statistics(2)["WatchingEvents"] == wanted
    assert every["Boot"]["LastHardResetReason"] == r"\u009b"
    manager.restart()
    kept = manager.client().do("GetStatistics", ReportingModuleType=0)
    assert list(kept) == ["Boot"]
    assert (kept["Boot"]["KeyBootModuleLastHardResetTime"], kept["Boot"]["KeyBootModuleLastRecoveryTime"]) == (7, 100)


def test_commands_that_change_something_are_on_record_with_their_client(manager):
    for command, argument in [
        ("SetTraceProperty", {"TraceName": "DIAG", "TracePropertyName": "History", "TracePropertyValue": "17"}),
        ("SetTraceProperty", {"TraceName": "DIAG", "TracePropertyName": "History", "TracePropertyValue": "0"}),
        ("AddTraceFilter", {"TraceFilterName": "Size"}),
        ("GetTraceProperty", {"TraceName": "DIAG", "TracePropertyName": "History"}),
        ("GetStatistics", {}),
        ("BasebandNVData", {"BasebandNVDataAction": "Erase"}),
    ]:
        manager.client().do(command, **argument)
    leaving = manager.client()
    leaving.ask_reset()
    leaving.socket.close()
    manager.says("COMMAND=ResetBasebandCommand")
    who = f" CLIENT_UID={os.geteuid()} CLIENT_PID={os.getpid()} CLIENT_NAME=rig"
    assert re.findall("Corvane: COMMAND=(.*)", manager.stop()) == [f"{name}Command RESULT={result}{who}" for name, result in [
        ("SetTraceProperty", "0"), ("SetTraceProperty", "0xE020E101"), ("AddTraceFilter", "0xE020E101"), ("BasebandNVData", "0"),
        ("ResetBaseband", "0")]]


def test_settings_are_typed_ranged_and_kept_over_a_kill(manager):
    rows = [
        ("DIAG", "Enabled", "false", "true", "true"),
        ("diag", "History", "256", "2048", "2048"),
        ("DIAG", "Mode", "Active on AP", "passive ON ap", "Passive on AP"),
        ("DIAG", "Enabled_During_Sleep", "Off", "lite", "Lite"),
        ("DIAG", "Stall_Detection_Recovery", "None", "1", "Reset Baseband"),
        ("DIAG", "File_Sleep", "Sleep", "\u00e4", "\u00e4"),
        ("DIAG", "High_Watermark", "95", "0", "0"),
        ("KernelPCI", "BufferCount", "4", "64", "64"),
        ("RYN", "Enabled", "true", "false", "false"),
        ("RYN", "History", "5", "7", "7"),
        ("TEMS", "Mode", "OFF", "HW", "HW"),
    ]
    (manager.state / "DMC").mkdir()
    (manager.state / "DMC/\u00e4.json").write_text('{"groups": []}')
    client = manager.client()
    for trace, name, by_default, written, _ in rows:
        assert client.get(trace, name) == by_default
        assert client.set(trace, name, written) is None
    assert client.get("DIAG", "Enabled_Temp") == "true" and client.set("DIAG", "Enabled_Temp", "false") is None
    manager.restart()
    client = manager.client()
    assert client.get("DIAG", "Enabled_Temp") == "true"
    for trace, name, _, _, read in rows:
        assert client.get(trace, name) == read
    assert client.do("GetTEMSProperty") == {"KeyTEMSMode": "HW"}
    assert client.answer(client.ask_erase()) is None
    assert client.set("DIAG", "Low_Watermark", "7") is None
    assert "DIAG Low_Watermark is now 7" in (manager.state / "Scratch/Corvane.log").read_text(), "the log is on again"
    manager.restart()
    client = manager.client()
    for trace, name, by_default, _, _ in rows:
        assert client.get(trace, name) == by_default


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
    assert folder.parent == manager.state / "Snapshots"
    assert re.fullmatch(r"log-bb-\d{4}-\d\d-\d\dT\d\d-\d\d-\d\dZ-1", folder.name)
    manager.says(f"collected trace logs in {folder}")
    assert json.loads((folder / "manager.json").read_text())["Reason"] == r"[tool] \u001bwhy"


def test_trace_logs_are_kept_up_to_the_limit(manager):
    client, kept = manager.client(), manager.state / "Snapshots"
    (kept / "log-bb-2026-01-01T00-00-00Z-9.partial").mkdir(parents=True)  # what a kill leaves, and the next collection removes
    assert add(client, "MaxLogLimit", 2) is None
    names = [client.collect().name for _ in range(2)]
    other, asked = manager.client(), client.ask("CollectTraceLogs", TraceLogsReason="at the same time")
    names += [other.collect().name, pathlib.Path(client.answer(asked)["KeyTraceLogsFolder"]).name]
    assert sorted(folder.name for folder in kept.iterdir()) == sorted(names[2:]) and max(names).endswith("Z-4")
    assert add(client, "MaxLogLimit", 0) is None
    assert re.match("10A: .*max-log filter is 0", client.collect())
    assert sorted(folder.name for folder in kept.iterdir()) == sorted(names[2:])


def test_trace_logs_take_the_scratch_log_along_unless_it_is_kept(manager):
    client, log = manager.client(), manager.state / "Scratch/Corvane.log"
    assert client.set("RYN", "Enabled", "false") is client.set("DIAG", "History", "17") is client.set("RYN", "Enabled", "true") is None
    assert "ready" in log.read_text() and "DIAG History" not in log.read_text()
    client.collect()
    assert not log.exists()
    assert client.set("RYN", "KeepScratchLogs", "true") is None
    copied = client.collect() / "Corvane.log"
    for path in log, copied:
        assert "KeepScratchLogs is now true" in path.read_text()
    assert client.set("RYN", "KeepScratchLogs", "false") is None
    assert not log.exists()


def test_filters_outlive_the_manager(manager):
    def filters():
        return manager.client().do("GetTraceFilters")

    client, by_default = manager.client(), {"FreeSpacePercentage": 1, "MaxLogLimit": 20}
    assert filters() == by_default
    assert add(client, "FreeSpacePercentage", 33) is client.do("RemoveTraceFilter", TraceFilterName="MaxLogLimit") is None
    manager.restart()
    client = manager.client()
    assert filters() == {"FreeSpacePercentage": 33}
    assert add(client, "FreeSpacePercentage", 100) is add(client, "MaxLogLimit", None) is None
    assert re.match("10A: .*the free-space filter asks for 100 %", client.collect())
    assert not list(manager.state.glob("Snapshots/*"))
    assert client.do("RemoveTraceFilter", TraceFilterName="FreeSpacePercentage") is None and client.collect().exists()
    assert add(client, "FreeSpacePercentage", None) is None
    assert filters() == by_default


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


@pytest.mark.parametrize("hello, spoken", [
    ("8300016464656d6f", None),  # as clients have said it from the first release on: it isn't answered
    ("8400016464656d6f01", True),  # asks
    ("8500006464656d6f07f6", True),  # asks with a wider range, and with an item of a later version
    ("8300026464656d6f", "2"),
    ("8400026464656d6f03", "2 to 3"),
    ("8400006464656d6f00", "0 to 0"),
])
def test_hello(served, hello, spoken):
    peer = served[0].client(name=None, events=False)
    peer.send(bytes.fromhex(hello))
    if spoken in (None, True):  # a refused connection may be closed by now
        peer.send([1, 5, "GetTraceFiltersCommand", None])
        first = peer.receive()
    if spoken is None:
        assert first[:3] == [2, 5, 0]
    elif spoken is True:
        about = first[3]
        assert first[:3] == [2, 0, 0] and (about["KeyProtocolVersion"], about["KeyProtocolVersions"]) == (1, [1, 1])
        assert about["KeyCorvaneVersion"] == served[1].do("GetCorvaneInfo")["KeyCorvaneVersion"]
        assert "GetTraceFiltersCommand" in about["KeyFeatures"] == sorted(about["KeyFeatures"]) and peer.receive()[:3] == [2, 5, 0]
    else:
        assert peer.answer(0).startswith(f"10D: This manager speaks version 1 of the protocol and the client version {spoken};")
        assert peer.is_closed()


@pytest.mark.parametrize("name, packet, why", [
    (None, [1, 1, "x", None], "did not begin with hello"),
    (None, [3, True], "did not begin with hello"),
    (None, [0, 2, "another version"], "speaks version 2 of the protocol"),
    ("again", [0, 1, "a second hello"], "sent a packet that is not a client's"),
    ("empty", b"", None),  # which is taken for the end
    ("bytes", bytes.fromhex("ff1337"), "sent a malformed packet"),
    ("truncated", bytes.fromhex("840101784047"), "sent a malformed packet"),
    ("more", bytes.fromhex("8203f500"), "sent a malformed packet"),
    ("nested", 40 * b"\x81", "sent a malformed packet"),
    ("large", bytes((1 << 17) + 1), "sent a packet of 131073 bytes"),
    ("largest", bytes(1 << 17), "sent a malformed packet"),
    (70 * "n", [2, 1, 0], "sent a packet that is not a client's"),
    ("manager", [2, 1, 0], "sent a packet that is not a client's"),
])
def test_a_hostile_client_loses_its_connection_and_no_other_does(served, name, packet, why):
    manager, other = served
    peer = manager.client(name=name, events=False)
    peer.send(packet)
    assert peer.is_closed()
    assert other.is_served()
    if why:
        shown = (name or "")[:64] or ("another version" if packet[0] == 0 else "")
        manager.says(f"ended the connection of '{shown}' (process {os.getpid()}, user {os.geteuid()}): it {why}\n")


@pytest.fixture(scope="module")
def served():
    with Manager() as manager:
        yield manager, manager.client()


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


def test_a_watcher_that_never_reads_is_ended(manager):
    changer, deaf, changes = manager.client(events=False), manager.client(), 0
    until(lambda: changer.state() == "Ready", "the boot")
    assert deaf.is_served()
    while changer.statistics(2)["WatchingEvents"]:
        assert changes < 5000 and changer.set_mode(changes % 2) is None
        changes += 1
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
