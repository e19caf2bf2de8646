"""The real tool against the real manager: what a person types, what the simulated baseband does, and what the traces hold then."""
import json
import os
import pathlib
import re
import signal
import socket
import time

import pytest

from programs import TOOL, Manager, Program, hold, hold_table, kept, self_test, until
from tshark import is_sound, tshark

FIXTURES = pathlib.Path(__file__).parent / "fixtures"


def in_order(text, *parts):
    place = 0
    for part in parts:
        place = text.find(part, place)
        assert place >= 0, f"{part!r} is not in order in\n{text}"
    return True


def test_a_day_with_a_baseband(manager):
    """Each line is a run of the tool with its status, its output and behind a ! its errors. The first waits for the boot of the start."""
    def run(line):
        shown = "{} {}! {}".format(*manager.tool(line)).removesuffix("! ").rstrip()
        return re.sub(r"20\d\d-[\dT:.-]+Z", "TIME", re.sub(r'((Milliseconds|StateCommand|EventsSent|Connected|WatchingEvents)":)\d+', r"\1N", shown))

    hold_table("day.txt", run)


@pytest.mark.options("--fault", "GetBasebandTimeCommand=7:nodict")
def test_the_tool_says_on_request_why_a_command_failed(manager):
    refused, failed = "CoreDump Enabled can't be 'maybe'; it takes true or false.", "Failed to set 'Enabled' to 'maybe'\n"
    for line, debug, errors in [
        ("coredump enabled maybe", "", failed),
        ("coredump enabled maybe", "0", failed),
        ("coredump enabled maybe", "1", f"Reason: {refused}\n{failed}"),
        ("trace filter remove maxlog -- trace dump", "1", ""),
        ("trace filter add maxlog 0 -- trace dump", "1",
         "Reason: The max-log filter is 0, so that no trace logs are kept; raise or remove it.\n"),
        ("baseband time", "1", "Reason: The manager answered with the result 7 and no reason.\n"),
    ]:
        said = manager.tool(line, RYNTOOL_DEBUG=debug)
        assert said[2] == errors and said[:2] == manager.tool(line)[:2], line
    assert in_order((manager.folder / "corvane/manager.log").read_text(), f"Refused ryntool: {refused}",
                    f"collected trace logs in {manager.state}/Snapshots/log-bb-")


def test_a_self_test_shows_everything_or_ends_with_its_client(manager):
    manager.does("baseband state 0")
    # The baseband is ready and nobody else watches: the test begins with the request, and its start is shown all the same.
    whole = manager.does("baseband diagnostics run rftest")
    assert whole.endswith("to test BasebandDiagnosticsTypeRFSelfTest : Success\n") and "RSSIMeasurementPortBList" in whole
    assert '{"KeyBasebandDiagnosticsPercentage":0}' in whole and '"KeyRFSelfTestOverallStatus":"Passed"' in whole
    assert "BasebandDiagnosticsStatusComplete" in (manager.client().collect() / "rf-self-test.json").read_text()
    # One whose client goes leaves the baseband free.
    interrupted = Program(TOOL, "baseband", "diagnostics", "run", "rftest", **manager.environment)
    interrupted.says("Event data")
    assert interrupted.end() == -signal.SIGTERM
    manager.says("COMMAND=BasebandDiagnosticsCommand RESULT=0xE020E107 ")
    manager.says("The RF self-test was aborted because its client has gone;")
    assert '"SelfTestsAborted":1' in manager.does("stats get-statistics 0")
    assert "its client has gone" in (manager.client().collect() / "rf-self-test.json").read_text()


def test_a_recorded_session_is_replayed(manager, tmp_path):
    file = tmp_path / "session.jsonl"
    session = ["info", "baseband state 3 10 -- baseband state", "baseband reset soft lab", "baseband time", "coredump enabled maybe",
               "baseband state 0 -- baseband diagnostics run rftest", "stats get-statistics", "trace dump why"]

    def ask_side_by_side(manager):
        """Two clients that wait for two answers each, whose numbers are the same."""
        clients = [manager.client(name=name, events=False) for name in ("one", "two")]
        numbers = [(client.ask_reset(), client.ask("GetBasebandTime")) for client in clients]
        return [[client.answer(number) for number in asked] for client, asked in zip(clients, numbers)]

    with Manager("--record", file) as recorded:
        shown = [recorded.tool(line) for line in session]
        answers = ask_side_by_side(recorded)
    assert re.match(r'{"recording":1,"version":"1.0.0","time":"20[-\dT:.]+Z"}\n{"ms":\d+,', file.read_text()) and file.stat().st_mode & 0o777 == 0o600
    file.write_text(file.read_text() + '{"ms":99999,"client":1,"na')  # a kill may cut the last line
    for pace in (), ("--at-once",):
        with Manager("--backend", "replay", "--recording", file, *pace) as replaying:
            begin = time.monotonic()
            assert [replaying.tool(line) for line in session] == shown
            assert pace or time.monotonic() - begin > 2, "the self-test takes its time"
            assert ask_side_by_side(replaying) == answers
    with Manager("--backend", "replay", "--recording", file, "--at-once") as replaying:
        client = replaying.client(name="ryntool")
        assert client.do("GetCorvaneInfo")["KeyCorvaneVersion"]
        line = next(line for line, text in enumerate(file.read_text().splitlines(), 1) if "SetBasebandOperatingMode" in text)
        assert client.do("GetBasebandWakeReason", x=300 * "x") == (
            f"103: 'GetBasebandWakeReasonCommand {{\"Keyx\":\"{218 * 'x'}' departs from the recording: the next of ryntool is "
            f"'SetBasebandOperatingModeCommand {{\"KeyBasebandOperatingMode\":3,\"KeyTimeout\":10}}' in line {line}.")
        assert isinstance(client.do("GetBasebandTime"), dict)
        replaying.says("ryntool departs from the recording: it leaves out 'SetBasebandOperatingModeCommand")
    file.write_text('{"recording":1}\n{"ms":0,"client":0,"name":"other","id":1,"request":"Never"}\n'
                    '{"ms":0,"client":0,"name":"other","id":2,"request":"Late"}\n{"ms":99999999,"client":0,"id":2,"result":0}\n')
    with Manager("--backend", "replay", "--recording", file) as replaying:
        client = replaying.client(name="other")
        waiting = client.request("Never", None), client.request("Late", None)
        assert client.do("GetBasebandTime").endswith("it has no more requests of other.")
        assert "the recording has no reply to 'Never null' of other in line 2, so it gets none\n" in replaying.stop()
        assert 2 * ["107: The manager stopped before it had replayed an answer."] == [client.answer(number) for number in waiting]


def test_blocked_resets_include_the_mode_that_resets(manager):
    manager.preferences.parent.mkdir(parents=True, exist_ok=True)
    for _ in range(2):  # what was unblocked can be blocked again
        manager.preferences.write_text('{"CurrentUser":{"CurrentHost":{"BlockBasebandResets":true,"Trace::RYN::History":9}}}')
        assert manager.client().get("RYN", "History") == "9"
        assert manager.does("baseband state 3 -- baseband state 4") == "Success\nFailed\n"
        assert "BlockBasebandResets" in manager.tool("baseband reset soft")[2]
        assert manager.does("baseband reset unblock -- baseband state 4") == "Reset unblock: Success\nSuccess\n"
    # A file that can't be read may block them.
    manager.preferences.unlink()
    manager.preferences.symlink_to("/dev/zero")
    assert "The preferences can't be read" in manager.tool("baseband reset soft")[2]
    assert manager.tool("baseband reset unblock")[1] == "Reset unblock: Failed\n"


GSMTAP_TYPES = "13", "18", ""  # messages of the radio resource control, of the non-access stratum, and lines of a log


def status(manager):
    return manager.client().get("DIAG", "Status")


def messages(manager):
    """The newest file of messages of new trace logs, if there is one."""
    return max(manager.client().collect().glob("DIAG/*"), default=None)


def recorded(manager, trace, file):
    return manager.state / f"Scratch/{trace}.scratch/00000001.{file}"


def test_what_the_baseband_and_the_network_say_is_recorded(manager):
    assert status(manager) == "Idle"
    manager.does("diag enabled true -- baseband diagnostics run rftest -- baseband reset soft lab -- baseband state 0 -- "
                 "baseband state 3")
    assert status(manager) == "Dumping"
    file = messages(manager)
    assert is_sound(file)
    assert in_order("\n".join(map(" ".join, tshark(file, "gsmtap_log.subsys", "_ws.col.Info"))), "RF self-test passed\n",
                    "BOOT soft reset: [ryntool] lab",
                    "BOOT subsystems stop\n", "BOOT images are verified, subsystems start\n",
                    "RF front end calibrated for bands 3, 7 and 20\n", "BOOT ready after ", "MODE operating mode 0 (online)",
                    "MasterInformationBlock", "SystemInformationBlockType1", "RRCConnectionRequest", "Attach request",
                    "Authentication response", "Attach accept", "Attach complete", "RRCConnectionRelease",
                    "operating mode 3 (offline)", "Detach request", "Detach accept", "RRCConnectionRelease")
    assert not recorded(manager, "DIAG", "pcapng").exists()  # moved into the snapshot
    manager.does("diag enabled false")
    assert status(manager) == "Idle"


def test_each_property_of_the_trace_decides_what_is_recorded(manager):
    (manager.state / "DMC").mkdir()
    (manager.state / "DMC/mine.json").write_text('{"groups": ["RRC"]}')
    sleep = "power simulate 0x10"
    rrc, nas, log = GSMTAP_TYPES
    for typed, expected in [
        ("diag mode 1", set()),
        ("diag mode 4", {rrc, nas, log}),
        (sleep, {log}),
        ("diag enabled-on-sleep full -- " + sleep, {rrc, nas, log}),
        ("diag enabled-on-sleep lite -- " + sleep, {nas, log}),
        ("diag enabled-on-sleep lite -- diag sleep-dmc mine -- " + sleep, {rrc, log}),
        ("diag enabled-on-sleep lite -- diag sleep-dmc None -- " + sleep, {log}),
        ("trace set DIAG Enabled_Temp false", set()),
        ("diag enabled false -- trace set DIAG Enabled_Temp true", {rrc, nas, log}),
        ("trace set DIAG Mode_Temp 2", set()),
        ("trace set DIAG Use_Threshold false", {rrc, nas, log}),
    ]:
        manager.does("diag enabled false -- power simulate 0x20 -- baseband state 3 -- trace dump")
        manager.does(f"diag enabled-on-sleep off -- diag mode 0 -- diag enabled true -- {typed} -- baseband state 0")
        file = messages(manager)
        assert {kind for kind, in (tshark(file, "gsmtap.type") if file else [])} == expected, typed
    manager.does("trace set DIAG Stop_Reader true")
    client = manager.client()

    def is_held():
        """Unless the machine was so busy that the snapshot was made by then."""
        snapshot, held = client.ask("CollectTraceLogs", TraceLogsReason="why"), status(manager)
        return client.answer(snapshot) and held == "Idle"

    until(is_held, "a snapshot that stops the recording")
    assert status(manager) == "Dumping"


def test_a_silence_is_a_stall_unless_it_is_right(tmp_path):
    (tmp_path / "scenario.json").write_text(json.dumps({"silence": 1, "steps": [
        {"after": "mode 0", "action": "stall-trace", "trace": "DIAG", "seconds": 3600}]}))
    with Manager("--scenario", tmp_path / "scenario.json") as manager:
        manager.ready()
        for right in "power simulate 0x10 -- diag enabled true", "diag mode 1 -- power simulate 0x20":
            manager.does(right + " -- baseband diagnostics run rftest")  # which takes longer
            assert "stalled" not in manager.program.text, right
        manager.does("trace set DIAG Stall_Detection_Recovery 2 -- diag mode 0 -- baseband state 0")
        manager.says("the DIAG trace has stalled: no message for 1 s\n")
        manager.does("baseband state 3")
        manager.says("the DIAG trace goes on\n")


def test_a_kill_keeps_what_was_recorded_and_another_segment_goes_on(manager):
    manager.does("diag enabled true -- trace set DIAG Use_Threshold false -- baseband state 3 -- baseband state 0 -- "
                 "baseband state 3")
    first = recorded(manager, "DIAG", "pcapng")
    until(lambda: first.exists() and tshark(first, "frame.number", chosen="nas-eps", cut=True), "messages on disk")
    manager.stop(9)
    assert is_sound(first)
    older = first.with_name("00000000.pcapng")
    older.write_bytes(bytes(1 << 20))
    manager.start()
    manager.does("diag history 2")
    assert older.exists()
    manager.does("diag history 1")
    assert not older.exists()
    second = messages(manager)
    assert second.name == "00000002.pcapng" and is_sound(second)


def test_messages_are_streamed_as_they_happen(manager):
    path = str(manager.folder / "corvane/diag.sock")

    def reader():
        made = socket.socket(socket.AF_UNIX)
        made.connect(path)
        return made

    def read_until(stream, text):
        """Or to the end."""
        data = b""
        while text not in data and (more := stream.recv(4096)):
            data += more
        return data

    with pytest.raises(OSError):
        reader()
    os.mkdir(path)
    manager.does("baseband state 3 -- diag mode 3 -- diag enabled true -- diag mode 0")  # once it has booted, which it would tell
    manager.says(f"There is no live stream of DIAG messages: {path} exists and is not a socket; name another one with --socket.\n")
    os.rmdir(path)
    manager.does("diag mode 3")
    for farewell in "unread", "read", "silent":
        with reader() as brief:
            brief.send(b"?")
            until(lambda: status(manager) == "Dumping", "the reader")
            if farewell != "unread":
                assert brief.recv(4096)
            if farewell == "silent":
                brief.shutdown(socket.SHUT_WR)
                assert manager.client().is_served() and status(manager) == "Dumping"
        if farewell == "silent":
            manager.does("baseband state 0 -- baseband state 3")  # it is missed when it is to be sent something
        until(lambda: status(manager) == "Idle", farewell)
    client = manager.client()
    waiting = [client.ask("CollectTraceLogs", TraceLogsReason="why")]  # which keeps the changes behind it until both are there
    waiting += [client.ask("SetTraceProperty", TraceName="DIAG", TracePropertyName="Mode", TracePropertyValue=mode) for mode in "03"]
    assert [bool(client.answer(number)) for number in waiting] == [True, False, False]
    stream, _deaf = reader(), reader()
    stream.shutdown(socket.SHUT_WR)
    manager.does("baseband state 0")
    streamed = read_until(stream, bytes.fromhex("07430003 5200c2"))  # Attach complete, by itself
    manager.does("baseband state 3")
    assert status(manager) == "Dumping"
    streamed += read_until(stream, b"operating mode 3")
    (manager.folder / "stream").write_bytes(streamed[:streamed.rfind(b"operating mode 3")])
    shown = str(tshark(manager.folder / "stream", "_ws.col.Info", cut=True))
    assert "Attach request" in shown and "Attach complete" in shown
    assert not recorded(manager, "DIAG", "pcapng").exists()
    manager.does("diag mode 0")
    read_until(stream, b"to its end")
    with pytest.raises(OSError):
        reader()


def test_what_passes_between_manager_and_baseband_is_on_disk_until_it_is_switched_off(manager):
    manager.does("trace set BasebandIPC Enabled true -- power simulate 0x10")
    sleeps, log = "Z command power notification: about to sleep\n", recorded(manager, "BasebandIPC", "txt")
    until(lambda: log.exists() and sleeps in log.read_text(), "the exchange on disk")
    manager.does("trace set BasebandIPC Enabled false -- baseband state 0")
    exchanges = "".join(file.read_text() for file in manager.client().collect().glob("BasebandIPC/*"))
    assert sleeps in exchanges and "0 (online)" not in exchanges


def session():
    """What a session with a seed shows and leaves behind, but for times, the serial number and what depends on them."""
    begin = time.strftime("%FT%T", time.gmtime())
    with Manager("--scenario", FIXTURES / "session.json") as manager:
        client = manager.ready()
        shown = ["{1}{2}{0}\n".format(*manager.tool(line)) for line in (FIXTURES / "session-lines.txt").read_text().splitlines()]
        client.do("BasebandDiagnostics", **self_test(TargetTxPower3G4G=330, TargetTxPower2G=330, ForwardPowerLimitHighList=32 * [400]))
        folder = client.collect()
        for file in sorted(path for path in folder.rglob("*") if path.suffix in (".txt", ".json", ".log", ".csv")):
            shown.append(f"{file.relative_to(folder)}\n{file.read_text()}")
        for kind, data, when in tshark(folder / "DIAG/00000001.pcapng", "gsmtap.type", "udp.payload", "frame.time_epoch"):
            # Of logs the text behind process and time, of LTE messages all but the frame's number, which is the time too.
            packet = bytes.fromhex(data)
            is_log, is_master = packet[2] == 0x10, packet[2] == 0x0d and packet[12] == 4
            assert is_log or int.from_bytes(packet[8:12], "big") == int(when.replace(".", "")[:12]) % 1024
            shown.append(f"{kind} {packet[32:].replace(bytes(1), b' ').decode()}\n" if is_log else
                         f"{kind} {packet[:8].hex()} {packet[12:16 if is_master else None].hex()}\n")
    end = time.strftime("%FT%T", time.gmtime())
    text = re.sub(r"(\d{4}-\d\d-\d\dT[\d:]+)\.\d+Z", lambda found: "TIME" if begin <= found[1] <= end else "ANOTHER TIME",
                  "".join(shown) + manager.program.text)
    text = re.sub(r"in /.*/Snapshots/log-bb.*|listening on .*|ready after \d+ ms", "PATH", text)
    return re.sub(r'("SerialNumber"|Milliseconds"|BootStateCommand"|"Connected"|"WatchingEvents"|_UID|_PID)(: ?|=)\d+', r"\1\2N", text)


def test_a_seed_gives_the_same_session_again():
    shown = None
    for _ in range(3):  # on a machine that stands still for a second more happens, but not the same twice
        before, shown = shown, session()
        if shown in (before, kept("session.txt", shown)):
            break
    hold("session.txt", shown)
