"""The simulated baseband behind a real manager: its states, what it remembers, its self-test."""
import contextlib
import json
import re
import resource
import signal
import sqlite3

import pytest

from programs import Client, self_test, until


def notify(client, message):
    return client.do("SimulatePowerNotification", PowerNotificationMessage=message)


def wake(client):
    return client.do("GetBasebandWakeReason")


def power_log(client, name, action):
    return client.do("LogCollection", LogCollectionAction=action, TracePropertyName=name)


def sync(client):
    return client.ask("BasebandSyncFS", FSSyncWaitForCompletion=True)


def kept(client, name="baseband.json"):
    """What new trace logs tell of the baseband."""
    text = (client.collect() / name).read_text()
    if not name.endswith(".json"):
        return text
    assert '\n  "NVData": {\n    "' in text, "a person is to read it"
    return json.loads(text)


def test_commands_wait_for_a_boot_in_their_order(manager):
    client = manager.ready()
    reset, *modes = [client.ask_reset(), *map(client.ask_mode, (3, 4, 2, 5, 0))]
    assert [client.answer(number) for number in (reset, *modes[:-1])] == 5 * [None]
    assert client.answer(modes[-1]).startswith("103: ")
    assert client.events == ["Resetting", "Booting", 1, "Ready", 3, 4, "Resetting", "Booting", 1, "Ready", 2, 5, "Off"]


@pytest.mark.parametrize("begin_one", [Client.ask_reset, lambda client: client.ask_mode(5)])
def test_one_reset_goes_on_at_a_time(manager, begin_one):
    client = manager.ready()

    def is_refused():
        """Unless the machine was so busy that the first one had ended."""
        numbers = begin_one(client), client.ask_reset("Hard")
        first, second = map(client.answer, numbers)
        assert first is None
        return second and second.startswith("104: ")

    until(is_refused, "a second reset during the first")


def test_a_time_out_is_told_and_what_was_begun_goes_on(manager):
    client = manager.ready()
    numbers = [client.ask_mode(mode, 1) for _ in range(8) for mode in (3, 4)]  # eight resets and boots take longer than a second
    late = [str(client.answer(number)) for number in numbers]
    in_time = late.count("None")
    assert set(late[:in_time]) <= {"None"} and all(answer.startswith("106: ") for answer in late[in_time:])
    assert re.search(r"mode [34] \(\w+\) within 1 s", late[-1])
    until(lambda: client.state() == "Ready", "the end of what was begun")
    changes = [event for event in client.events if event in (3, 4)]
    assert changes in ([3, 4] * (in_time // 2), [3, 4] * (in_time // 2) + [3], [3, 4] * (in_time // 2 + 1))


def test_a_stop_answers_what_is_outstanding(manager):
    client = manager.ready()
    snapshots = [client.ask("CollectTraceLogs", TraceLogsReason="why") for _ in range(60)]
    waiting = [client.ask_reset(), *map(client.ask_mode, 90 * (3, 4))]
    client.state()  # by now the manager has read them all
    manager.program.kill(signal.SIGTERM)
    assert all("KeyTraceLogsFolder" in client.answer(number) for number in snapshots)
    answers = [str(client.answer(number))[:5] for number in waiting]
    assert answers[-1] == "107: " and set(answers) <= {"None", "107: "}
    manager.stop()


def test_power_logs_keep_the_newest_entries(manager):
    client = manager.ready()
    assert power_log(client, "F3", "Enable") is client.reset() is None
    for number in range(600):
        assert client.set_mode(number % 2) is None
    text = kept(client, "power-log-f3.txt")
    assert text.count("\n") == 405 and "mode: 1" in text and "collection begins" not in text


def test_an_erasure_puts_the_factory_values_back(manager):
    client = manager.ready()
    for answer in (client.set_mode(6), power_log(client, "NPA", "Enable"), power_log(client, "F3", "Enable"),
                   client.answer(sync(client))):
        assert answer is None
    before = kept(client)
    assert "LastFileSystemSync" in str(before)
    assert client.answer(client.ask_erase()) is None
    manager.restart()
    client = manager.ready()
    after = kept(client)
    assert client.mode() == 1 and "LastFileSystemSync" not in str(after)
    assert after["NVData"] | {"CalibrationRun": None} == {
        "PowerLogNPA": 0, "PowerLogF3": 0, "PersistentLowPower": 0, "SerialNumber": before["NVData"]["SerialNumber"],
        "CalibrationRun": None}
    assert client.set("RYN", "History", "7") is None
    obstacle = manager.preferences.with_suffix(".json.new")  # stands in the way of a change
    obstacle.mkdir()
    assert client.answer(client.ask_erase()) == "109: The preferences could not be written."
    obstacle.rmdir()
    assert client.set("RYN", "History", "8") is None
    manager.restart()
    assert manager.client().get("RYN", "History") == "8"  # the erasure was answered, and isn't gone on with


def test_a_reset_ends_a_sync(manager):
    client = manager.ready()

    def last():
        return kept(client)["NVData"].get("LastFileSystemSync")

    def is_cut_short():
        """Unless the machine was so busy that it had ended."""
        before = last()
        numbers = sync(client), client.ask_reset()
        answer, reset = map(client.answer, numbers)
        assert reset is None
        return answer and answer.startswith("107: ") and last() == before

    until(is_cut_short, "a sync that a reset ends")
    assert client.do("BasebandSyncFS", FSSyncWaitForCompletion=False) is client.answer(sync(client)) is None
    assert last()
    begin_shutdown = sync(client), client.set_mode(5)
    assert str(client.answer(begin_shutdown[0])).startswith(("107: ", "None"))
    assert client.reset() is None
    waiting = sync(client)
    manager.stop()
    assert str(client.answer(waiting)).startswith(("107: ", "None"))  # None where the machine was so busy


def test_what_cannot_be_written_is_refused_and_changes_nothing(manager):
    client = manager.ready()
    assert client.set_mode(0) is power_log(client, "F3", "Enable") is None
    before, process = wake(client), manager.program.child.pid
    unlimited = resource.prlimit(process, resource.RLIMIT_FSIZE)
    resource.prlimit(process, resource.RLIMIT_FSIZE, (0, unlimited[1]))  # as on a full disk: no file may grow
    for answer in (client.set_mode(6), power_log(client, "NPA", "Enable"), power_log(client, "F3", "DumpLog"),
                   power_log(client, "F3", "Disable"), notify(client, 0x21), client.answer(client.ask_erase()), client.answer(sync(client)),
                   client.set("RYN", "History", "7"), client.set("RYN", "Enabled", "false"), client.set("KernelPCI", "Enabled", "true"),
                   client.collect()):
        assert re.match(r"109: The (change could not be written to disk \(.*\); nothing has changed|preferences|trace logs could)", answer)
    manager.says("KernelPCI Enabled is now false\n")  # it was switched on before it was stored
    assert (client.get("RYN", "History"), client.get("RYN", "Enabled"), client.get("KernelPCI", "Enabled")) == ("5", "true", "false")
    assert not list(manager.state.glob("Snapshots/*")) and wake(client) == before
    assert notify(client, 0x10) is client.reset() is None
    woken, figures = wake(client), client.statistics()
    assert (woken["KeyBasebandWakeChannel"], figures["WakesByBaseband"], figures["NVDataErasures"]) == (7, 1, 0), "whatever the disk"
    resource.prlimit(process, resource.RLIMIT_FSIZE, unlimited)
    client.events = []
    assert client.reset() is client.set("DIAG", "History", "7") is None
    assert 6 not in client.events and "collection ends" not in kept(client, "power-log-f3.txt")
    assert "disabled" in kept(client, "power-log-npa.txt")
    manager.restart()
    assert wake(manager.ready()) == woken


@pytest.mark.parametrize("damage", ["", "{", "[]", "null", '{"SoftResets":"x","Boots":1.5,"SerialNumber":true}'])
def test_a_damaged_memory_is_like_none(manager, damage):
    client = manager.ready()
    assert client.reset() is None
    manager.stop()
    with contextlib.closing(sqlite3.connect(manager.state / "settings.db")) as store, store:
        for name in ("baseband.nv", "baseband.statistics", "baseband.wake"):
            store.execute("INSERT OR REPLACE INTO setting VALUES('baseband', ?, ?)", (name, damage.encode()))
    manager.start()
    figures = manager.ready().statistics()
    assert (figures["SoftResets"], figures["Boots"]) == (0, 1)


def begin(client, **changed):
    return client.ask("BasebandDiagnostics", **self_test(**changed))


def abort(client):
    return client.do("BasebandDiagnostics", BasebandDiagnosticsAction="BasebandDiagnosticsActionAbort")


def told(client, number):
    """How far the test had come at each event, and what it told at its end."""
    percentages, result = [], {}
    while number not in client.answers:
        packet = client.receive()
        if packet[0] == 4 and packet[1] == "BasebandDiagnosticsNotification":
            percentages.append(packet[2]["KeyBasebandDiagnosticsStatusData"]["KeyBasebandDiagnosticsPercentage"])
            result = packet[2].get("KeyBasebandDiagnosticsResult", result)
    return percentages, {re.sub("^KeyRFSelfTest", "", key): value for key, value in result.items()}, client.result(number)


def test_a_self_test_measures_and_judges_by_its_limits(manager):
    client = manager.ready()
    assert power_log(client, "F3", "Enable") is None
    percentages, result, (code, _) = told(client, begin(client))
    assert (percentages, code, result["OverallStatus"]) == ([0, 25, 50, 75, 100], 0, "Passed")
    forward, reverse, ratio, rssi = (
        result[f"{name}MeasurementPortBList"] for name in ("ForwardPower", "ReversePower", "PowerRatio", "RSSI"))
    for channel in range(32):
        assert abs(forward[channel] - (200 if channel < 24 else 230)) <= 10
        assert forward[channel] - reverse[channel] == ratio[channel] and rssi[channel] < forward[channel]
    other = result["ForwardPowerMeasurementPortAList"]
    assert forward != other
    for shift in (0, 1, -1):  # both ends of a limit are within it
        _, result, (code, _) = told(client, begin(
            client, ForwardPowerLimitLowList=[shift + min(ends) for ends in zip(forward, other)],
            ForwardPowerLimitHighList=[shift + max(ends) for ends in zip(forward, other)]))
        assert (code, result["ForwardPowerStatus"] == "Passed", result["PowerRatioStatus"]) == (0, shift == 0, "Passed")
    figures = client.statistics()
    assert (figures["SelfTestsPassed"], figures["SelfTestsFailed"]) == (2, 2)
    begin(client), abort(client)
    ends = re.findall("self-test: (.*)\n", kept(client, "power-log-f3.txt"))
    assert ends == ["begins", "passed", "begins", "passed", "begins", "failed", "begins", "failed", "begins", "aborted"]


@pytest.mark.parametrize("limit, value, error", [
    ("ForwardPowerLimitLow", 32 * [210], "forward power"),
    ("ForwardPowerLimitHigh", 32 * [180], "at port A is outside 0 to 180, and 63 more."),
    ("PowerRatioLimitLow", [176] + 31 * [0], "on channel 0 at port A is outside 176 to 255, and 1 more."),
    ("PowerRatioLimitHigh", 32 * [124], "power ratio"),
])
def test_a_self_test_says_what_is_outside_its_limits(manager, limit, value, error):
    client = manager.ready()
    _, result, (code, reply) = told(client, begin(client, **{limit + "List": value}))
    assert code == 0 and error in str(reply)  # the command has done what it was asked for
    assert reply["KeyBasebandDiagnosticsErrorCode"] == (1 if limit.startswith("PowerRatio") else 2)
    assert (result["ForwardPowerStatus"] == "Passed", result["PowerRatioStatus"] == "Passed") == (
        limit.startswith("PowerRatio"), limit.startswith("ForwardPower"))
    assert client.statistics()["SelfTestsFailed"] == 1


@pytest.mark.parametrize("disturb, refusal, why", [
    (abort, None, "aborted on request;"),
    (lambda client: client.answer(begin(client)), "104: ", None),
    (lambda client: client.set_mode(1), None, None),  # it is in that mode already
    (lambda client: client.set_mode(0), None, "aborted by a change to operating mode 0 (online);"),
    (lambda client: client.reset(), None, "aborted by a soft reset;"),
    (lambda client: client.reset("Hard"), None, "aborted by a hard reset;"),
    (lambda client: client.set_mode(5), None, "aborted by a change to operating mode 5 (shutting down);"),
])
def test_a_self_test_is_aborted_by_what_disturbs_it(manager, disturb, refusal, why):
    client = manager.ready()
    running = begin(client)
    answer = disturb(client)
    assert answer.startswith(refusal) if refusal else not isinstance(answer, str)
    if why is None:
        assert running not in client.answers
        return
    result, reply = client.result(running)
    assert result and f"{why} run it again for a result.'" in str(reply)
    assert why in str(client.events[1])  # before the change that aborted it is told
    assert client.statistics()["SelfTestsAborted"] == 1
    second = begin(client) if client.state() == "Ready" else None  # another test can run
    client.state()  # by now the manager has read it
    manager.program.kill(signal.SIGTERM)
    assert second is None or client.result(second)[0]
    manager.stop()
