import json
import os
import pathlib
import pwd
import re
import signal
import subprocess
import time

import dbus
import pytest

import fakes
from at_modem import PIN, AtModem
from fakes import MODEM, ROOT, SERVICE
from programs import hold, kilobytes, run, self_test, until
from rig import OTHER, modem, rig, two_modems  # noqa: F401

ACME = "The modem Acme Modem 1, IMEI 490154203237518 isn't there: "


def test_mode_changes_are_told_on_the_way_and_the_modem_is_shown_with_its_parts(rig, modem):
    client = rig.ready(modem)
    modem.later("AT+CFUN=4", 1.5)  # longer than the change before would wait for ModemManager to announce it
    for number, events in (0, [0]), (3, [3]), (1, [1]), (0, [0]):
        assert client.set_mode(number) is None
        client.saw(*events)
        assert client.mode() == number
    until(lambda: client.statistics()["State"] == "registered", "the network")
    assert client.do("GetBasebandTime")["KeyBasebandTimeAsString"] == "2026-11-21T08:55:01+01"
    figures = client.statistics()
    varying = dict.fromkeys(["ModemManagerVersion", "SignalQualityPercentage", "SignalQualityRecent"], "")
    shown = json.dumps(figures | varying, indent=2, sort_keys=True) + "\n"
    hold("modem-statistics.json", shown)
    rig.call(f"{ROOT}/Modem/0", MODEM, "CreateBearer", dbus.Dictionary({"apn": "internet"}, "sv"))
    until(lambda: rig.call(f"{ROOT}/Modem/0", MODEM + ".Location", "GetLocation"), "a location")
    folder = until(lambda: "Bearer/0" in ((made := client.collect()) / "bearers.json").read_text() and made, "the bearer")
    shown = json.loads((folder / "modem.json").read_text())
    assert shown[f"{ROOT}/Modem/0"][MODEM]["SupportedBands"] == ["unknown"]
    assert shown[f"{ROOT}/SIM/0"]["Imsi"] == "001010123456789"
    assert shown["Location"] == {"MCC": "001", "MNC": "01", "LAC": "1", "Cell": "ABCD", "TAC": "0"}
    assert json.loads((folder / "bearers.json").read_text())[f"{ROOT}/Bearer/0"]["Properties"]["apn"] == "internet"


def test_what_a_modem_cannot_do_is_refused_in_one_sentence(rig):
    client = rig.ready(AtModem(), plugin="generic")  # has neither power states nor a reset
    assert client.set_mode(0) is None
    answers = [
        client.set_mode(1), client.mode(), client.set_mode(3), client.set_mode(2), client.do("GetBasebandBootState"), client.reset(),
        client.reset("Hard"), client.answer(client.ask_erase()), client.do("GetBasebandTime"), client.do("GetBasebandWakeReason"),
        client.do("BasebandSyncFS"), client.do("LogCollection", LogCollectionAction="Enable", TracePropertyName="NPA"),
        client.do("SimulatePowerNotification", PowerNotificationMessage=1), client.do("BasebandDiagnostics", **self_test()),
        client.do("BasebandDiagnostics", BasebandDiagnosticsAction="BasebandDiagnosticsActionAbort"), client.state()]
    shown = re.sub("((can't reset|factory's): ).*", r"\1*", "".join(f"{answer}\n" for answer in answers))  # versions differ in why
    hold("modem-refusals.txt", shown)
    client.saw(0)
    rig.says("can't go to low power")
    assert rig.program.text.count("can't go to low power") == 1


@pytest.mark.parametrize("sim, state, why, online", [
    ("SIM PIN", "Ready", None, "103: The modem can't go online: Cannot enable modem: device locked; its lock is sim-pin, "
     '"mmcli --sim=0 --pin=PIN" opens the SIM\'s.'),
    ("ABSENT", "Off (sim-missing)", "ModemManager found it unusable: sim-missing.",
     "103: The modem can't go online: modem in failed state; ModemManager found it unusable: sim-missing."),
])
def test_a_sim_that_is_locked_or_absent_is_told(rig, sim, state, why, online):
    client = rig.start_manager()
    rig.says("There is no modem: ModemManager knows none.")
    rig.plug(AtModem(sim=sim))
    client.saw(state)
    assert client.do("GetBasebandBootState").get("KeyErrorString") == why
    assert client.set_mode(0) == online
    obstacle = online.rpartition("; ")[2]
    assert client.do("GetBasebandTime") == "102: The modem can't tell the time: " + obstacle
    assert client.set("TEMS", "Mode", "HW") == "102: The modem's signal can't be measured: " + obstacle
    assert client.set_mode(3) is None
    client.saw(3)
    assert "/" not in json.loads((client.collect() / "modem.json").read_text())
    if sim == "SIM PIN":
        rig.call(ROOT + "/SIM/0", SERVICE + ".Sim", "SendPin", PIN)
        client.saw("Booting", "Ready")
        assert client.set_mode(0) is None


def test_modem_manager_and_bus_come_and_go(rig, modem):
    client = rig.ready(modem)
    stopped = 'ModemManager isn\'t running; "systemctl start ModemManager" starts it.'
    for leave, why, come_back, said in [
        (rig.unplug, "ModemManager knows none.", [], "The modem has gone.\n"),
        (lambda: rig.modem_manager.end(signal.SIGKILL), stopped, [rig.start_modem_manager], "ModemManager has left the bus.\n"),
        (lambda: rig.modem_manager.end(), stopped, [rig.start_modem_manager], "ModemManager has left the bus.\n"),
        (rig.stop_bus, "the system bus can't be reached; it is tried again every few seconds.", [rig.start_bus, rig.start_modem_manager],
         "The system bus can't be reached (the bus closed the connection); it is tried again.\n"),
    ]:
        leave()
        rig.says(said)
        client.saw("Off")
        for ask in client.mode, client.reset, lambda: client.set_mode(0), lambda: client.answer(client.ask_erase()):
            assert ask() == "103: " + ACME + why
        if why == stopped:
            assert client.set("BasebandIPC", "Enabled", "true") == "103: " + ACME + why
        assert client.state() == "Off" and ("ModemManagerVersion" in client.statistics()) == ("knows" in why)
        for step in come_back:
            step()
        rig.plug(modem)
        client.saw("Ready")
    rig.says(" is running.\n", 4)


def test_the_mode_that_was_asked_for_holds_until_the_modem_boots(rig, modem):
    client = rig.ready(modem)
    rig.start_pellcore()
    client.saw(0)
    for number in 3, 1, 0:
        assert client.set_mode(number) is None
        modem.heard.clear()
        rig.pellcore.end()
        rig.start_pellcore()
        rig.stop()
        client = rig.start_manager().wait_for("Ready")
        assert "so it is to do so again" not in rig.program.text
        for how in signal.SIGTERM, signal.SIGKILL:
            until(lambda: client.mode() == number, f"mode {number}")
            rig.pellcore.says("it is left as it is")
            rig.modem_manager.end(how)
            rig.start_modem_manager()
            rig.plug(modem)
        until(lambda: client.mode() == number, f"mode {number}")
        assert number == 0 or "AT+CFUN=1" not in modem.heard
    assert client.set_mode(3) is None
    wish = f"3 {pathlib.Path('/proc/sys/kernel/random/boot_id').read_text().strip()} {modem.imei}"
    assert f"basebandmodem-mode{wish}".encode() in (rig.state / "settings.db-wal").read_bytes()  # area, name and value
    rig.call(rig.modems()[0], MODEM, "Enable", True)  # somebody else's wish
    until(lambda: client.mode() == 0, "mode 0")
    modem.heard.clear()
    rig.stop()
    client = rig.start_manager()
    until(lambda: client.set_mode(0) is None, "a manager that knows the modem")
    assert "AT+CPWROFF" not in modem.heard
    assert client.set_mode(3) is None
    rig.unplug()
    modem.power = 1
    rig.plug(modem)
    until(lambda: client.mode() == 0, "mode 0 after a boot")
    assert client.statistics()["Boots"] == 1 and "outlive" not in rig.program.text


def test_commands_reach_the_modem_that_the_manager_is_bound_to(rig):
    held, other = two_modems(rig, OTHER)
    client = rig.ready()
    rig.says(", the first of 2; --modem chooses another.")
    rig.replug_on_reset(held, "left", away=None)
    reset = client.ask_reset()
    until(lambda: len(rig.modems()) == 1, "the modem's leaving")
    gone = "103: " + ACME + f"ModemManager knows {ROOT}/Modem/1 (Acme Modem 1, IMEI {OTHER})."
    assert client.set_mode(3) == gone
    rig.plug(held, "left")
    assert client.answer(reset) is None
    for ask in lambda: client.ask_mode(3), client.ask_reset:
        rig.program.kill(signal.SIGSTOP)  # it is asked before it knows
        rig.unplug("left")
        until(lambda: len(rig.modems()) == 1, "the modem's leaving")
        asked = ask()
        rig.program.kill(signal.SIGCONT)
        assert client.answer(asked) == client.answer(client.ask_erase()) == client.answer(client.ask_erase()) == gone
        rig.plug(held, "left")
        until(lambda: client.state() == "Ready", "the modem's return")
    assert not [command for command in other.heard if re.match(r"AT\+CFUN=|AT\+CPWROFF", command)]
    assert [client.statistics()[name] for name in ("Boots", "SoftResets")] == [3, 1]


def test_an_imei_that_two_modems_have_binds_to_neither(rig):
    held, other = two_modems(rig, AtModem().imei)
    client = rig.ready()
    rig.unplug("left")
    client.saw("Off")
    assert client.set_mode(3).startswith("103: " + ACME) and "AT+CPWROFF" not in other.heard
    rig.plug(held, "left")
    client.saw("Ready")


def test_one_of_several_modems_is_chosen_by_any_of_its_names(rig):
    left, right = two_modems(rig, OTHER)
    client = rig.start_manager("--modem", "5")
    both = ", ".join(f"{ROOT}/Modem/{index} (Acme Modem 1, IMEI {modem.imei})" for index, modem in enumerate((left, right)))
    until(lambda: client.mode() == f'103: There is no modem "5": ModemManager knows {both}.', "the refusal")
    rig.stop()
    client = rig.start_manager("--modem", "any").wait_for("Ready")
    assert f"IMEI {left.imei}" in client.statistics()["Modem"] and client.set_mode(3) is None
    for device, leaves, stays, boots in ("left", left, right, 0), ("right", right, left, 1):  # as the manager has seen of the one that stays
        rig.unplug(device)
        until(lambda: stays.imei in client.statistics().get("Modem", ""), "the other modem")  # noqa: B023
        assert client.statistics()["Boots"] == boots and client.events.count("Ready") == boots + 1  # the latter of whatever modem
        assert client.do("GetBasebandBootState") == {"KeyBasebandBootState": "Ready"}  # no mode was asked for since it has booted
        rig.plug(leaves, device)
        until(lambda: len(rig.modems()) == 2, "both")
    for name, modem in [(OTHER, right), ("/virtual/left", left), (right.port, right), ("/dev/" + right.port, right),
                        (min(rig.modems()), left), (max(rig.modems()).removeprefix(ROOT + "/Modem/"), right)]:
        rig.stop()
        client = rig.start_manager("--modem", name).wait_for("Ready")
        assert f"IMEI {modem.imei}" in client.statistics()["Modem"]
    # An index is another one when the modem comes back, and may then be that of another modem.
    rig.unplug("right")
    rig.plug(AtModem("353547080000002"), "right")
    until(lambda: str(client.mode()).startswith(f"103: The modem Acme Modem 1, IMEI {OTHER} isn't there: ModemManager knows {ROOT}"), "a new modem")
    rig.unplug("right")
    rig.plug(right, "centre")
    until(lambda: client.state() == "Ready", "the modem in another place")


@pytest.mark.parametrize("leave, away", [(0, 0), (0.5, 1), (11, 0.5)])
def test_a_reset_succeeds_when_the_modem_is_back(rig, modem, leave, away):
    client = rig.ready(modem)
    rig.replug_on_reset(modem, leave=leave, away=away)
    begin = time.monotonic()
    asked, again = client.ask_reset(), client.ask_reset()
    assert client.answer(again) == "104: The modem is being reset already."
    if leave:
        rig.call(rig.modems()[0], MODEM, "Enable", True)  # what changes of a modem that hasn't left ends no reset
    assert client.answer(asked) is None
    assert time.monotonic() - begin > leave + away
    assert [event for event in client.events if event in ("Resetting", "Ready")] == ["Resetting", "Ready"], client.events
    assert [client.statistics()[name] for name in ("Boots", "SoftResets")] == [1, 1]


def test_a_reset_during_which_modem_manager_goes_is_of_unknown_outcome(rig, modem):
    client = rig.ready(modem)
    for leave in False, True:
        modem.instead["AT+CFUN=15"] = None
        if leave:
            rig.replug_on_reset(modem, away=None)
        asked = client.ask_reset()
        until(lambda: "AT+CFUN=15" in modem.heard, "the reset")
        leave and until(lambda: client.state() == "Resetting", "the reset")
        modem.heard.clear()
        rig.modem_manager.end(signal.SIGKILL)
        assert client.answer(asked).startswith("107: Whether the modem could reset isn't known: ")
        rig.start_modem_manager()
        rig.plug(modem)
        until(lambda: client.state() == "Ready", "the modem")
    assert [client.statistics()[name] for name in ("Boots", "SoftResets")] == [0, 0]


def test_a_modem_manager_that_hangs_is_told(rig):
    client = rig.ready(AtModem())
    rig.modem_manager.kill(signal.SIGSTOP)
    reset = client.ask_reset()
    until(lambda: 25 <= client.statistics().get("ModemManagerSilentSeconds", 0) < 100, "the silence")
    rig.says("ModemManager doesn't answer; what is shown of the modem may be out of date.")
    assert client.answer(reset) == "106: ModemManager doesn't say whether the modem could reset: it didn't answer in time."
    assert client.state() == "Ready" and client.events == [] and client.statistics()["Boots"] == 0
    rig.modem_manager.kill(signal.SIGCONT)
    client.do("GetBasebandTime")
    rig.says("ModemManager answers again.")


def test_mode_changes_wait_no_longer_than_they_say(rig):
    client = rig.ready(AtModem())
    assert client.set("TEMS", "Mode", "HW") is None
    rig.modem_manager.kill(signal.SIGSTOP)
    first, *waiting = [client.ask_mode(number, timeout) for number, timeout in [(0, 1), (3, 3)] + 7 * [(1, 2)]]
    assert client.set_mode(0) == "104: 8 mode changes wait already."
    assert client.answer(first) == "106: The modem isn't in operating mode 0 after 1 s; the next mode change has taken its place."
    assert client.answer(waiting[1]) == "106: The change to operating mode 1 was dropped after 2 s: an earlier one is still under way."
    assert client.answer(waiting[0]) == "106: The modem isn't in operating mode 3 after 3 s; it may still come."
    begin = time.monotonic()
    rig.stop()
    assert time.monotonic() - begin < 20  # what it asks of ModemManager last takes 25 s to fail


def test_a_manager_that_stops_answers_what_waits(rig, modem):
    client = rig.ready(modem)
    modem.later("AT+CFUN=4", 5)
    waiting = [client.ask_mode(1), client.ask_mode(3)]
    until(lambda: "AT+CFUN=4" in modem.heard, "the mode change")
    waiting += [client.ask_reset(), client.ask("GetBasebandTime")]
    client.state()
    rig.program.kill(signal.SIGTERM)
    *changes, time_asked = [str(client.answer(number)) for number in waiting]
    assert changes == ["107: Whether the modem could go to low power isn't known: the manager is stopping.",
                       "107: Whether the modem could go offline isn't known: there is no connection to the system bus.",
                       "107: Whether the modem could reset isn't known: the manager is stopping."]
    assert re.fullmatch("103: .*|107: Whether the modem could tell the time isn't known: the manager is stopping.", time_asked)
    rig.stop()


def test_a_bus_that_does_not_answer_holds_nothing_up(rig):
    silence = AtModem(mute=True)
    rig.environment["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:abstract=" + silence.port
    client = rig.start_manager()
    assert client.state() == "Off"
    assert client.set_mode(0).startswith("103: There is no modem: it is still being looked for.")
    begin = time.monotonic()
    rig.stop()
    assert time.monotonic() - begin < 20  # a call of the bus takes 25 s to fail


@pytest.mark.parametrize("polkit", [(False, False), (False, True), None])
def test_a_refused_permission_is_told_apart(rig, polkit):
    rig.modem_manager.end()
    if polkit:
        keep = fakes.Polkit(rig.address, *polkit)  # noqa: F841
    rig.start_modem_manager(session=False)
    client = rig.ready(AtModem())
    user = re.escape(pwd.getpwuid(os.geteuid()).pw_name)
    for doing, action, answer in [("go online", "Device.Control", client.set_mode(0)), ("reset", "Device.Control", client.reset()),
                                  *[("have its signal measured", "Device.Control", client.set("TEMS", "Mode", "HW"))
                                    for _ in range(2)],
                                  ("tell the time", "Time", client.do("GetBasebandTime")),
                  ("tell where it is", "Location", "10B: " + json.loads((client.collect() / "modem.json").read_text())["Location"])]:
        assert re.match(f"10B: The modem may not {doing}: polkit doesn't allow the user {user} the action "
                        rf"{SERVICE}\.{action} \(.+\)\.$", answer)


def test_what_a_modem_calls_itself_never_reaches_a_terminal_raw(rig):
    client = rig.ready(AtModem(revision="1\x1b[31m\u009b\u202e2"))
    snapshot = client.collect() / "modem.json"
    outputs = [str(client.do("GetCorvaneInfo")), client.statistics()["Modem"], rig.program.text, rig.does("info"), snapshot.read_text()]
    assert not re.search("[\x1b\u009b\u202e]", "".join(outputs))
    assert "[31m" in rig.does("info")


def test_traces_record_what_modem_manager_tells(rig, modem):
    rig.modem_manager.end()
    has_journal = rig.start_journal()
    polkit = fakes.Polkit(rig.address, True, False)
    rig.start_modem_manager(session=False, level="DEBUG")
    client = rig.ready(modem)
    for trace in "DIAG", "KernelPCI", "CoreDump":
        assert client.set(trace, "Enabled", "true").startswith(f"102: Trace {trace} can't be recorded: this baseband ")
        assert client.get(trace, "Enabled") == "false"
    assert client.set("TEMS", "Mode", "HW") is None
    for trace in "BasebandIPC", "SYSLOG":
        refused = client.set(trace, "Enabled", "true")
        assert refused is None if has_journal else refused.startswith(f"10B: Trace {trace} can't be recorded: there is no journal ")
        assert client.get(trace, "Enabled") == str(has_journal).lower()
    for times in 1, 2:
        assert client.set_mode(0) is None
        lines = rig.recorded("TEMS").count("Z,LTE,001 01,43981,-81,-10,\n")
        until(lambda: rig.recorded("TEMS").count("Z,LTE,001 01,43981,-81,-10,\n") > lines + 1, "two measurements")
        assert rig.rates() == [1]
        if has_journal:
            until(lambda: rig.recorded("BasebandIPC").count("logging: level 'DEBUG'") == times, "the level")
            until(lambda: "--> 'AT+CESQ<CR>" in rig.recorded("BasebandIPC").rpartition("'DEBUG'")[2], "an exchange")
        rig.modem_manager.end(signal.SIGKILL)
        rig.start_modem_manager(session=False)
        rig.plug(modem)
        until(lambda: client.state() == "Ready", "the modem")
    assert "systemctl" not in rig.program.text  # what records waits silently
    if has_journal:
        assert "ModemManager[" in (client.collect() / "system.log").read_text()
        flood = [*rig.inside, "sh", "-c", f"yes {4000 * 'x'} | head -1200 | systemd-cat && journalctl --sync"]
        subprocess.run(flood, check=True)
        older = "Older lines are left out: "
        assert re.match(older + r"a snapshot takes no more than 4 MB of them\n20\d\d-", (client.collect() / "system.log").read_text())
    until(lambda: rig.rates() == [1], "the rate")
    if has_journal:
        subprocess.run(flood, check=True)
        reading = client.ask("CollectTraceLogs", TraceLogsReason="why")
        client.state()  # by now the manager has begun
        rig.program.kill(signal.SIGTERM)
        lines = (pathlib.Path(client.answer(reading)["KeyTraceLogsFolder"]) / "system.log").read_text()
        assert lines.startswith((older + "the manager ended", older + "a snapshot takes"))  # a slow machine may have read them
    rig.stop()
    until(lambda: rig.rates() == [0], "the rate as it was")
    polkit.answer = False, False
    client = rig.start_manager()
    until(lambda: client.get("TEMS", "Mode") == "OFF", "the refusal")
    until(lambda: client.get("BasebandIPC", "Enabled") == "false", "the refusal")
    rig.says("The modem may not have its signal measured: polkit doesn't allow")
    if has_journal:
        levels = lambda: re.findall("logging: level '(.*)'", run(*rig.inside, "journalctl", "--no-pager")[1])  # noqa: E731
        until(lambda: levels() == 4 * ["DEBUG"], "the level as it was")
        rig.says(f"The modem may not have its messages logged: polkit doesn't allow the user root the action {SERVICE}.Control (")


def test_hot_plugging_costs_neither_descriptors_nor_memory(rig, modem):
    client = rig.ready(modem)

    cost = lambda process: (len(os.listdir(f"/proc/{process}/fd")), kilobytes(process, "VmRSS"))  # noqa: E731
    cycles = int(os.environ.get("HOT_PLUG_CYCLES", "20"))
    for cycle in range(cycles):
        rig.unplug()
        client.saw("Off")
        rig.plug(modem)
        client.saw("Ready")
        if cycle == min(cycles - 1, 9):
            before = cost(rig.program.child.pid)
    after = cost(rig.program.child.pid)
    assert after[0] == before[0] and after[1] < before[1] * 9 / 8, (before, after)
