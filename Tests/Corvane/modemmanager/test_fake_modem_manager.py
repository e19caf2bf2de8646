"""Against a ModemManager of the tests' own, which answers and leaves as it is told."""
import json
import os
import pwd
import re
import resource
import shutil
import signal
import subprocess
import time

import dbus
import pytest

import fakes
from at_modem import AtModem
from fakes import ROOT, SERVICE
from programs import FIXTURES, hold, run, until
from rig import OTHER, rig  # noqa: F401

AS_BEFORE = "108: ModemManager made the modem go offline, but shows it as registered with its power on."


def test_modem_manager_logs_as_before_once_the_trace_is_off(rig):
    rig.modem_manager.end()
    rig.start_journal() or pytest.skip("no journal can be had")
    manager, client = fakes.ModemManager(rig.address), rig.ready()
    program = shutil.copy("/bin/sh", rig.folder / "ModemManager")
    for count, (options, level) in enumerate([("--debug", "DEBUG"), ("--log-level WARN", "WARN"), ("--log-level=ERR", "ERR"), ("", "INFO")]):
        script = "echo up; kill -STOP $$; for line in $(seq 500); do echo more; done; kill -STOP $$"
        shell = rig.start_other("systemd-cat", program, "-c", script, *options.split())
        until(lambda: run(*rig.inside, "journalctl", "--output=cat", "_COMM=ModemManager")[1].count("up") > count, f"an entry of {options!r}")
        assert client.set("BasebandIPC", "Enabled", "true") is None
        shell.kill(signal.SIGCONT)
        until(lambda: rig.recorded("BasebandIPC").count("more") == 500 * (count + 1), "every line")
        assert client.set("BasebandIPC", "Enabled", "false") is None
        until(lambda: manager.asked[-2:] == ["SetLogging DEBUG", "SetLogging " + level], level)
    assert client.set("SYSLOG", "Enabled", "true") is None
    renewed = "journalctl --rotate --vacuum-size=1 && echo alone | systemd-cat && journalctl --sync"  # younger than the trace
    subprocess.run([*rig.inside, "sh", "-c", renewed], check=True, capture_output=True)
    assert (client.collect() / "system.log").read_text().count("alone\n") == 1


def test_figures_and_errors_are_understood_by_their_names(rig):
    rig.modem_manager.end()
    manager, client = fakes.ModemManager(rig.address), rig.ready()
    for technology, shown in [("Unknown", "none"), ("Nr5g", "5G"), ("Umts", "UMTS"), ("Gsm", "GSM"), ("Evdo", "EVDO"), ("Cdma", "CDMA"),
                              ("Lte", "LTE")]:
        manager.technology = technology
        client.statistics()  # the first of them waits for a measurement in vain
        assert client.set("TEMS", "Mode", "HW") is None
        line = f"Z,{shown},,," + ("-101,-11.5,12.4\n" if shown != "none" else ",,\n")
        until(lambda: line in rig.recorded("TEMS"), line)  # noqa: B023
        if shown == "none":
            begin = time.monotonic()
            assert all("RSRP" not in client.statistics() for _ in range(20)) and time.monotonic() - begin < 15  # none waits a second
        assert client.set("TEMS", "Mode", "OFF") is None
    assert client.do("GetBasebandTime") == "102: The modem can't tell the time: ModemManager knows no clock of it."
    for row in (FIXTURES / "modem-errors.txt").read_text().splitlines():
        name, sentence, answer = row.format(service=SERVICE, user=pwd.getpwuid(os.geteuid()).pw_name).split(" | ")
        manager.failure, manager.leaves = (name, sentence), False
        assert client.reset() == answer and client.state() == "Ready"
    manager.failure, manager.leaves = None, True
    assert client.set_mode(3) == AS_BEFORE
    # A factory reset that doesn't restart the modem is followed by a reset; only then its data is the factory's.
    assert client.answer(client.ask_erase()) is None
    statistics, folder = client.statistics(), client.collect()
    modem, bearers = (json.loads((folder / name).read_text()) for name in ("modem.json", "bearers.json"))
    rig.stop()
    assert "GetLocation" not in manager.asked[manager.asked.index("FactoryReset 000000"):]
    asked = [asked for asked in manager.asked if not asked.startswith(("Setup", "GetLocation"))]
    shown = json.dumps([statistics, modem, bearers, asked], indent=2, sort_keys=True) + "\n"
    hold("modem-figures.json", shown)
    until(lambda: manager.asked[-1] == "Setup 0", "the rate as it was")  # the manager has waited for an answer for a second only
    assert set(manager.asked) >= {"Setup 1", "Setup 5"}


def test_what_is_asked_ends_whatever_happens_meanwhile(rig):
    rig.stop_bus()
    client = rig.start_manager("--modem", "any")
    rig.says("Corvane: The system bus can't be reached (Connection refused); it is tried again.\n")
    rig.start_bus()
    rig.says("Corvane: ModemManager isn't running; the manager waits for it.\n")
    for asked in client.mode(), client.set("TEMS", "Mode", "HW"), client.do("GetBasebandTime"):
        assert asked == '103: There is no modem: ModemManager isn\'t running; "systemctl start ModemManager" starts it.'
    assert not (client.collect() / "modem.json").exists()
    rig.stop()
    manager = fakes.ModemManager(rig.address, failures=1)
    client = rig.start_manager("--modem", "any")
    rig.says("ModemManager doesn't tell its modems (Not yet); it is asked again.\n")
    manager.soon(lambda: manager.InterfacesAdded(ROOT + "/Modem/30", manager.interfaces()))  # the answer tells what there is
    assert client.mode() == "103: There is no modem: it is still being looked for."
    manager.unanswered["Enable"] = None
    assert client.wait_for("Ready").set_mode(1, 1) == "106: The modem isn't in operating mode 1 after 1 s; it may still come."
    late, change = until(lambda: manager.unanswered["Enable"], "the change"), client.ask_mode(0)
    until(lambda: manager.unanswered["Enable"] != late, "the next change")
    manager.soon(late, manager.unanswered["Enable"])
    assert client.answer(change) is None
    manager.unanswered["Enable"] = None
    resource.prlimit(rig.program.child.pid, resource.RLIMIT_FSIZE, (0, resource.RLIM_INFINITY))
    first, second = client.ask_mode(1), client.ask_mode(0)
    until(lambda: manager.unanswered["Enable"], "the first change")
    assert client.set_mode(3, 1) == "106: The change to operating mode 3 was dropped after 1 s: an earlier one is still under way."
    manager.changed = {"EquipmentIdentifier": OTHER}
    manager.soon(manager.leave, manager.come_back)
    until(lambda: client.statistics().get("Modem") == f"{ROOT}/Modem/10 (Fake, IMEI {OTHER})", "the other modem")
    resource.prlimit(rig.program.child.pid, resource.RLIMIT_FSIZE, 2 * (resource.RLIM_INFINITY,))
    manager.failure, manager.leaves = (SERVICE + ".Error.Serial.SendFailed", "Gone"), False
    manager.soon(manager.unanswered.pop("Enable"))
    replaced = "107: Whether the modem could {} isn't known: it has gone, and another modem has taken its place."
    assert client.answer(first) == replaced.format("go to low power")
    assert client.answer(second) == "103: The modem that the mode change was meant for has gone; another one has taken its place."
    assert client.set("TEMS", "Mode", "HW") is None
    assert client.do("GetBasebandBootState") == {"KeyBasebandBootState": "Ready"}  # no mode was asked for of this modem
    for doing, method, ask, imei, power in [("reset", "Reset", client.ask_reset, AtModem().imei, 1),
                                            ("go to low power", "SetPowerState", lambda: client.ask_mode(1), OTHER, 2)]:
        manager.unanswered[method] = None
        asked, _ = ask(), until(lambda: manager.unanswered[method], method)  # noqa: B023
        # What takes its place is in low power already when the other one is asked for that.
        manager.changed = {"EquipmentIdentifier": imei, "State": dbus.Int32(3), "PowerState": dbus.UInt32(power)}
        manager.soon(manager.unanswered.pop(method), manager.leave, manager.come_back)
        assert client.answer(asked) == replaced.format(doing)
    manager.leaves, manager.parts, manager.changed["State"] = True, {}, dbus.Int32(2)  # locked, it doesn't show yet what can be measured
    assert client.reset() is None
    manager.unanswered["Reset"], manager.failure, manager.leaves = None, (SERVICE + ".Error.Core.Failed", "Gone"), False
    late = []
    for _ in range(2):  # what the first was answered comes to the second, whose own answer comes after the modem has left: neither counts
        reset = client.ask_reset()
        late.append(until(lambda: manager.unanswered["Reset"] not in late and manager.unanswered["Reset"], "the reset"))
        manager.soon(*late[:-1], manager.leave, *late[1:], manager.come_back)
        assert client.answer(reset) is None
    manager.unanswered.clear()
    del manager.failure, manager.leaves, manager.parts
    manager.changed |= {"State": dbus.Int32(-1), "StateFailedReason": dbus.UInt32(2)}
    assert client.reset() == "108: The modem has restarted and came back as Off (sim-missing)."
    manager.changed, manager.parts = {"EquipmentIdentifier": "", "State": dbus.Int32(3), "PowerState": dbus.UInt32(2)}, {}
    manager.soon(manager.leave, manager.come_back)
    assert client.wait_for("Ready").do("GetBasebandBootState") == {"KeyBasebandBootState": "Ready"}  # nobody has asked for the low power that it is in
    assert client.set_mode(3) == AS_BEFORE.replace("registered with its power on", "disabled with its power low")
    assert client.set("TEMS", "Mode", "OFF") is None
    assert client.set("TEMS", "Mode", "HW") == "102: The modem's signal can't be measured: ModemManager knows no way to it."
    del manager.parts
    manager.changed = {"State": dbus.Int32(6)}
    manager.soon(manager.leave, manager.come_back)
    until(lambda: client.mode() == 0, "the modem")
    assert all("RSRP" in client.answer(asked)["Boot"] for asked in [client.ask("GetStatistics", ReportingModuleType=0) for _ in range(2)])
    manager.unanswered["Setup"] = None
    on, again = (client.ask("SetTraceProperty", TraceName="TEMS", TracePropertyName="Mode", TracePropertyValue="HW") for _ in range(2))
    assert client.answer(again) == "104: The trace is being switched on already."
    until(lambda: manager.unanswered["Setup"], "the rate")
    manager.unanswered.clear()
    assert client.set("TEMS", "Mode", "OFF") is None
    assert client.answer(on) == "107: The trace was switched off before it was on."
    manager.leaves = False
    for ends in True, False:
        reset = client.ask_reset()
        until(lambda: client.state() == "Resetting", "the reset")
        if ends:  # since the same modem is initialized anew
            manager.soon(lambda: manager.modem.StateChanged(6, 1, 0), lambda: manager.modem.StateChanged(1, 8, 0))
            assert client.answer(reset) is None
    change = client.ask_mode(3)
    client.collect()  # by now the modem has answered
    rig.program.kill(signal.SIGTERM)
    assert client.answer(reset) == "107: The manager stopped before the modem could reset."
    assert client.answer(change) in ("107: The manager stopped before the mode was changed.", AS_BEFORE)  # a slow machine
    shown = [line for line in re.findall("Corvane: (.*)", rig.stop()) if not re.match("COMMAND|Refused|TEMS|collected", line)]
    client = rig.start_manager()
    rig.says("Corvane: The modem hasn't booted since it was asked to go offline, so it is to do so again.\n")
    rig.says(AS_BEFORE[len("108: "):].replace("registered", "enabled") + "\n")
    shown += [asked for asked in manager.asked if not asked.startswith(("Setup", "GetLocation"))]
    shown = "\n".join([*shown, *re.findall("Corvane: (.* baseband is .*)", rig.program.text), ""])
    hold("modem-session.txt", shown)
