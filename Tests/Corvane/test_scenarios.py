"""Scenarios: the examples as a user tries them, what is asked of a baseband to which something happens, and wrong files."""
import concurrent.futures
import contextlib
import itertools
import json
import os
import pathlib
import re
import tempfile

import pytest

from programs import FIXTURES, MANAGER, Client, Manager, hold, run, until
from test_baseband import begin, sync
from tshark import is_sound, tshark

EXAMPLES = pathlib.Path(os.environ["SOURCE_FOLDER"]) / "docs/scenarios"


def example(name):
    return pytest.mark.options("--scenario", EXAMPLES / f"{name}.json")


def shows(manager, line, *texts):
    until(lambda: all(text in manager.tool(line)[1] for text in texts), f"{texts} of {line}")


@example("crash")
def test_a_crash_leaves_a_core_dump(manager):
    manager.does("coredump enabled true -- baseband state 0")
    manager.says("The baseband has crashed: watchdog: the RF task doesn't answer")
    shows(manager, "baseband state", "Boot state: Ready\nOperating mode: 1\n")
    shows(manager, "stats get-statistics 0", '"Boots":2,"Crashes":1')
    manager.does("trace dump why")
    dump, = manager.state.glob("Snapshots/*/CoreDump/*.core")
    status, output, errors = run("readelf", "-hln", dump)
    assert (status, errors) == (0, "") and all(text in output for text in ("CORE (Core file)", "NT_PRPSINFO", "Corvane"))
    for content in b"watchdog: the RF task", b'"OperatingMode"', b"CORE".ljust(8 + 28, b"\0") + b"baseband".ljust(16, b"\0") + b"watchdog":
        assert content in dump.read_bytes()


@example("boot-fails")
def test_a_boot_fails_until_it_does_not(manager):
    shows(manager, "baseband state", "Boot state: Off (boot-failed)\nOperating mode: 1\n")
    for line, output in [("baseband reset soft", "Soft reset baseband: Failed\n"),
                         ("baseband reset hard", "Hard reset baseband: Success\n"),
                         ("baseband state", "Boot state: Ready\nOperating mode: 1\n")]:
        assert manager.tool(line)[1] == output
    shows(manager, "stats get-statistics 0", '"FailedBoots":2')


@example("no-service")
def test_messages_show_why_there_is_no_service(manager):
    manager.does("diag enabled true -- baseband reset soft -- baseband state 0")
    manager.says("(daylight): fade-signal")
    shows(manager, "stats get-statistics 0", '"Registration":"home"', '"RSRP":-', '"SIM":"ready"')
    manager.does("trace dump why")
    messages, = manager.state.glob("Snapshots/*/DIAG/*.pcapng")
    assert is_sound(messages)
    shown = iter([info for info, in tshark(messages, "_ws.col.Info")])
    for expected in ("there is no card: no service\n", "operating mode 0 (online)\n", "card is ready: network 001 01\n",
                     "Attach request", "Attach complete", "Service request", "Detach request (Re-attach not required)",
                     "Detach accept", "Attach request", "Attach complete", "out of service: the cell is too weak\n",
                     "in service again\n", "Tracking area update request", "Tracking area update complete"):
        assert any(expected in info + "\n" for info in shown), f"{expected} is not in order"


@example("stalled-trace")
def test_a_stalled_trace_is_found_and_recovers(manager):
    manager.does("trace set DIAG Stall_Detection_Recovery 1 -- diag enabled true -- baseband state 0")
    manager.says("the DIAG trace has stalled: no message for 2 s")
    manager.says("the DIAG trace goes on")
    shows(manager, "stats get-statistics 0", '"LastSoftResetReason":"the DIAG trace has stalled"')


@example("bad-day")
def test_a_day_on_which_everything_fails(manager):
    shows(manager, "baseband state 0 -- baseband time", "Success\nBaseband time: 20")
    assert "on channel 0 at port B is outside 0 to 255, and 31 more." in manager.does("baseband diagnostics run rftest")
    assert manager.does("baseband state 3") == "Success\n"
    manager.says("step 4: hang")
    for line, output in [("baseband time", "Baseband time: Unknown\n"),
                         ("baseband reset soft", "Soft reset baseband: Failed\n"),
                         ("baseband reset hard -- baseband state",
                          "Hard reset baseband: Success\nBoot state: Ready\nOperating mode: 1\n")]:
        assert manager.tool(line)[1] == output


@pytest.fixture
def scripted(tmp_path):
    """Starts a manager with these steps, and a client that has seen nothing yet of the baseband in this boot state."""
    with contextlib.ExitStack() as stack:
        def start(*steps, state="Ready"):
            file, name = tempfile.mkstemp(dir=tmp_path)
            with open(file, "w") as scenario:
                json.dump({"steps": steps}, scenario)
            manager = stack.enter_context(Manager("--scenario", name))
            return manager, manager.ready(state)
        yield start


AFTER_MODE_3 = {"after": "mode 3", "delay": 0.05}


AMID = [  # the boot state, when it fails, what is asked meanwhile, and what a crash and a hang make of it
    ("Booting", {"at": 0.05}, lambda client: client.set_mode(0), (None, "106: The baseband hangs and doesn't answer")),
    ("Ready", {"after": "soft reset", "delay": 0.1}, Client.reset, (None, "106: The baseband hangs and doesn't answer")),
    ("Ready", AFTER_MODE_3, lambda client: [client.ask_mode(3), client.set_mode(0)][1],
     ("108: The baseband has crashed before", "106: The baseband hangs and doesn't answer")),
    ("Ready", {"after": "mode 2", "delay": 1}, lambda client: [client.ask_mode(2), client.answer(begin(client))][1],
     ("107: The RF self-test was aborted by a crash", "107: The RF self-test was aborted because the baseband hangs")),
    ("Ready", AFTER_MODE_3, lambda client: [client.set_mode(3), client.collect().name][1], ("log-bb-", "log-bb-")),
    ("Ready", {"after": "mode 2"}, lambda client: [client.ask_mode(2), client.answer(sync(client))][1],
     ("107: The sync of the remote filesystem was interrupted by a crash", "107: The sync of the remote filesystem was interrupted because")),
]


def test_what_a_failure_comes_amid_is_answered_truly(scripted):
    def check(case):
        (state, step, ask, answers), action = case
        manager, client = scripted({"at": 0, "action": "slow-mode-change", "seconds": 0.5}, step | {"action": action}, state=state)
        said, expected = ask(client), answers[action == "hang"]
        assert said == expected or said.startswith(expected)
        manager.says(f"step 2: {action}\n")
        if action == "hang":
            assert client.reset("Hard") is None
        until(lambda: client.state() == "Ready")
        assert client.statistics()["Crashes"] == (action == "crash")
        assert client.set_mode(2) is None

    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        list(pool.map(check, itertools.product(AMID, ["hang", "crash"])))


def test_a_baseband_that_never_boots_says_so(scripted):
    failed = "Off (boot-failed)"
    manager, client = scripted({"at": 0, "action": "fail-every-boot"}, state=failed)
    assert client.set_mode(0) == "103: The baseband has failed to boot; a soft or hard reset tries again."
    assert client.do("GetBasebandTime").startswith("103: ")
    for kind in "Soft", "Hard":
        reset, waiting = client.ask_reset(kind), client.ask_mode(0)
        assert client.answer(reset).startswith("108: ") and client.answer(waiting).startswith("103: The baseband has failed")
        client.saw("Booting", 1, failed)
    statistics = client.statistics()
    assert (statistics["Boots"], statistics["FailedBoots"], statistics["Shutdowns"]) == (0, 3, 0)
    assert statistics["Registration"] == "idle" and "RSRP" not in statistics


def test_a_hang_ends_with_a_hard_reset_and_nothing_waits_longer_than_that(scripted):
    manager, client = scripted({"after": "mode 3", "action": "hang"})
    assert client.set_mode(3) is None
    manager.says("hang")
    waiting = [client.ask("GetBasebandTime"), client.ask_mode(0), client.ask_mode(1, 1)]
    assert client.do("BasebandNVData", BasebandNVDataAction="Erase").startswith("106: ")
    assert client.reset("Soft").startswith("108: ")
    assert all(client.answer(number).startswith("106: ") for number in waiting)
    client.saw(3)
    waiting = client.ask("GetBasebandTime")
    assert client.reset("Hard") is None
    assert "KeyBasebandTimeAsString" in client.answer(waiting)
    client.saw("Resetting", "Booting", 1, "Ready")
    assert client.set_mode(0) is None


def test_a_slow_change_of_the_mode_is_waited_for_or_given_up(scripted):
    manager, client = scripted({"at": 0, "action": "slow-mode-change", "seconds": 3600},
                               {"after": "hard reset", "action": "slow-mode-change", "seconds": 0.2})
    slow, queued = client.ask_mode(0), client.ask_mode(2)
    assert client.reset("Hard") is None
    assert client.answer(slow).startswith("107: A reset came before") and client.answer(queued) is None
    client.saw("Resetting", "Booting", 1, "Ready", 2)


def test_steps_come_once_and_in_the_order_of_their_times(scripted):
    manager, client = scripted({"name": "c", "after": "b", "action": "insert-sim"},
                               {"name": "b", "at": 0, "action": "remove-sim"},
                               {"at": 0, "action": "crash"},
                               {"after": "mode 0", "delay": 0.02, "action": "jump-time", "seconds": 315360000},
                               {"after": "mode 0", "delay": 0.01, "action": "fail-self-test", "port": "A", "times": 2},
                               {"after": "mode 3", "action": "crash"}, {"after": "crash", "action": "remove-sim"})
    assert [client.set_mode(mode) for mode in (0, 1, 0)] == 3 * [None]
    manager.says("step 4: jump-time")
    assert client.do("GetBasebandTime")["KeyBasebandTimeAsString"] > "2035"
    client.ask_mode(3)
    manager.says("step 7: remove-sim")
    lines = [line for line in manager.stop().splitlines() if "Scenario" in line]
    assert lines == [f"Corvane: Scenario, step {line}" for line in (
        "2 (b): remove-sim", "3: crash, without effect: the baseband is off or doesn't run", "1 (c): insert-sim",
        "5: fail-self-test", "4: jump-time", "6: crash", "7: remove-sim")]


@pytest.mark.parametrize("then, modes, registration", [
    ("find-registration", [0], "home"), ("lose-registration", [0], "denied"), ("remove-sim", [0], "idle"), ("find-registration", [0, 3], "idle"),
])
def test_service_comes_back_with_the_signal_where_there_is_any(scripted, then, modes, registration):
    manager, client = scripted({"name": "lost", "after": f"mode {modes[-1]}", "action": "fade-signal", "dBm": -125},
                               {"name": "then", "after": "lost", "action": then},
                               {"after": "then", "action": "fade-signal", "dBm": -120})
    assert client.set("DIAG", "Enabled", "true") is None
    assert [client.set_mode(mode) for mode in modes] == [None] * len(modes)
    manager.says("step 3: fade-signal")
    assert client.statistics()["Registration"] == registration
    messages, = client.collect().glob("DIAG/*.pcapng")
    assert ("Attach reject" in str(tshark(messages, "_ws.col.Info"))) == (registration == "denied")


def test_a_measurement_a_second_is_recorded(scripted):
    manager, client = scripted({"after": "mode 0", "action": "fade-signal", "dBm": -110})
    manager.does("diag secondary-dmc Tput -- diag enabled true -- baseband state 0 -- trace set TEMS Mode HW")
    file = manager.state / "Scratch/TEMS.scratch/00000001.csv"
    until(lambda: file.exists() and file.read_text().count("\n") >= 6, "five measurements")
    header, *lines = file.read_text().splitlines()
    assert header == "UTC time,technology,operator,cell,RSRP dBm,RSRQ dB,SNR dB"
    for line in lines:
        power, quality, noise = map(int, re.fullmatch(r"[0-9TZ:.-]+Z,LTE,001 01,\d+,(-\d+),(-\d+),(\d+)", line).groups())
        deviation = power + 110
        assert (quality, noise) == (-12 + int(deviation / 4), 5 + deviation)
    messages, = client.collect().glob("DIAG/*.pcapng")
    assert all(line in str(tshark(messages, "_ws.col.Info")) for line in ("'alive for 5 s'", "'harq 7: transport block of "))


def test_a_phone_moves_between_the_cells_of_its_network(scripted):
    manager, client = scripted(*1000 * [{"at": 31536000, "action": "hang"}])  # as many as there may be
    assert client.set("DIAG", "Enabled", "true") is None
    for mode in 12 * (0, 3):
        assert client.set_mode(mode) is None
    client.collect()
    shown = str(tshark(next(manager.state.glob("Snapshots/*/DIAG/*.pcapng")), "_ws.col.Info", chosen="gsmtap_log"))
    assert set(re.findall(r"cell (\d+ on frequency \d+, band \d+): ", shown)) == {
        "10601473 on frequency 1300, band 3", "10601474 on frequency 1300, band 3", "10604801 on frequency 6300, band 20",
        "10605059 on frequency 2850, band 7"}


def test_a_wrong_file_is_refused_with_the_place(tmp_path):
    file, shown = tmp_path / "scenario.json", ""
    many = '{"steps": [' + ", ".join(1001 * ['{"at": 1, "action": "crash"}']) + "]}"
    for text in [*(FIXTURES / "wrong-scenarios.txt").read_text().removesuffix("\n").split("\n\n"), many]:
        file.write_text(text)
        status, output, errors = run(MANAGER, "--scenario", file)
        assert (status, output, errors.count("\n")) == (2, "", 1)
        shown += re.sub(r"(no JSON: )(syntax error|attempting ).*?(;.*)?$", r"\1...", errors.replace(str(file), "FILE"))  # the library's words
    hold("refused-scenarios.txt", shown)
