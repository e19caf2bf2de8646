"""One run of the real tool a row, against a manager that answers as told: what is typed, answered, asked, and printed."""
import pytest

from programs import TOOL, ScriptedManager, run, self_test
from programs import command as ask

REFUSAL = 1, {"KeyErrorString": "no"}
REFUSED = '{"KeyErrorString":"no"}'
EMPTY = 0, {}
UNREADABLE = 0, "no dictionary"


def ok(**values):
    return 0, {"Key" + key: value for key, value in values.items()}


def value(text):
    return ok(TracePropertyValue=text)


def get(trace, name):
    return ask("GetTraceProperty", TraceName=trace, TracePropertyName=name)


def put(trace, name, value):
    return ask("SetTraceProperty", TraceName=trace, TracePropertyName=name, TracePropertyValue=value,
               TracePropertyWaitForCompletion=True)


def reset(kind, reason):
    return ask("ResetBaseband", BasebandResetType=kind + " reset", BasebandResetSubType="UserTriggered",
               BasebandResetReason="[ryntool] " + reason)


@pytest.fixture(scope="module")
def manager(tmp_path_factory):
    made = ScriptedManager(tmp_path_factory.mktemp("s") / "s")
    yield made
    made.close()


def tool(manager, typed):
    return run(TOOL, *typed.split(" "), CORVANE_SOCKET=manager.path)  # two blanks hold an empty word


@pytest.fixture
def page(manager):
    return lambda group: tool(manager, group + " help")[1]


@pytest.fixture
def hold(manager):
    """Every row is typed, answers, requests, output, errors, status; the last two may be left out."""
    def check(*rows):
        for typed, answers, requests, output, *end in rows:
            manager.begin(answers)
            errors, status = (*end, *("", 0)[len(end):])
            assert tool(manager, typed) == (status, output, errors), typed
            assert manager.requests == requests, typed
    return check


def test_info(hold):
    asked, tool = [ask("GetCorvaneInfo")], "Tool version: Corvane-699\n"
    unknown = tool + "Daemon version: Unknown\nBaseband version: Unknown\n"
    failed = "Query to get Daemon and Baseband version failed.\nError data : "
    hold(("info extra words", [ok(CorvaneVersion="Corvane-1", BasebandVersion="1.2.3")], asked,
          tool + "Daemon version: Corvane-1\nBaseband version: 1.2.3\n"),
         ("info", [ok(BasebandVersion=1)], asked, unknown),
         ("info", [UNREADABLE], asked, unknown),
         ("info", [REFUSAL], asked, tool, failed + REFUSED + "\n", 1),
         ("info", [(1, "no dictionary")], asked, tool, failed + "null\n", 1))


def test_baseband_state(hold):
    asked = [ask("GetBasebandBootState"), ask("GetBasebandOperatingMode")]
    ready = ok(BasebandBootState="Ready")

    def set_mode(number, **more):
        return ask("SetBasebandOperatingMode", BasebandOperatingMode=number, **more)

    hold(("baseband state", [ready, ok(BasebandOperatingMode=3)], asked, "Boot state: Ready\nOperating mode: 3\n"),
         ("baseband state", [EMPTY, EMPTY], asked, "Boot state: Unknown\nOperating mode: -1\n"),
         ("baseband state", [UNREADABLE, UNREADABLE], asked, "Boot state: Unknown\nOperating mode: Unknown\n"),
         ("baseband state", [REFUSAL, ok(BasebandOperatingMode=0)], asked, "Boot state: Unknown\nOperating mode: 0\n", "", 1),
         ("baseband state", [ready, REFUSAL], asked, "Boot state: Ready\nOperating mode: Unknown\n", "", 1),
         ("baseband state 3", [], [set_mode(3)], "Success\n"),
         ("baseband state 3 10 x", [REFUSAL], [set_mode(3, Timeout=10)], "Failed\n"),
         ("baseband state 4294967297 -4294967297", [], [set_mode(1, Timeout=-1)], "Success\n"),
         ("baseband state Watch -- baseband state -2", [], [set_mode(0), set_mode(-2)], "Success\nSuccess\n"))


def test_baseband_time_and_wake(hold):
    time, wake = [ask("GetBasebandTime")], [ask("GetBasebandWakeReason")]
    unknown, asleep, failed = "Baseband time: Unknown\n", "Baseband did not wake the AP\n", "Failed to get wake reason\n"
    hold(("baseband time x", [ok(BasebandTimeAsString="noon")], time, "Baseband time: noon\n"),
         ("baseband time", [EMPTY], time, unknown),
         ("baseband time", [()], time, unknown),
         ("baseband time", [REFUSAL], time, unknown, "", 1),
         ("baseband wake x", [ok(BasebandWakeChannel=0)], wake, asleep),
         ("baseband wake", [ok(BasebandWakeChannel="7")], wake, asleep),
         ("baseband wake", [ok(BasebandWakeChannel=7)], wake, 'Baseband woke the AP due to:\n{"KeyBasebandWakeChannel":7}\n'),
         ("baseband wake", [()], wake, "", failed),
         ("baseband wake", [REFUSAL], wake, "", failed, 1))


def test_baseband_reset(hold, page):
    unblock = [ask("UnblockBasebandReset")]
    hold(("baseband reset soft", [], [reset("Soft", "User triggered")], "Soft reset baseband: Success\n"),
         ("baseband reset hard crash", [REFUSAL], [reset("Hard", "crash")], "Hard reset baseband: Failed\n", REFUSED + "\n", 1),
         ("baseband reset hard", [(1,)], [reset("Hard", "User triggered")], "Hard reset baseband: Failed\n", "", 1),
         ("baseband reset soft two words", [], [], page("baseband reset"), "", 1),
         ("baseband reset unblock now", [], unblock, "Reset unblock: Success\n"),
         ("baseband reset unblock", [REFUSAL], unblock, "Reset unblock: Failed\n", "", 1))


def test_baseband_diagnostics(hold, page):
    start = [ask("BasebandDiagnostics", **self_test())]
    abort = [ask("BasebandDiagnostics", BasebandDiagnosticsAction="BasebandDiagnosticsActionAbort")]
    event = "BasebandDiagnosticsNotification"
    events = [(event, {"a": 1}), ("OtherNotification", {}), (event, "x"), (event,)]
    of_start = "command BasebandDiagnosticsActionRun to test BasebandDiagnosticsTypeRFSelfTest"
    of_abort = "command BasebandDiagnosticsActionAbort to test "
    misused = [], [], page("baseband diagnostics"), "Invalid test type [] passed.\n", 1
    hold(("baseband diagnostics run rftest", [(0, ..., events)], start,
          f"Sent {of_start}\n" + "".join(f"Event : {event}\nEvent data : {data}\n" for data in ('{"a":1}', "null", "null"))
          + f"Callback for {of_start} : Success\n"),
         ("baseband diagnostics run rftest", [REFUSAL], start, f"Sent {of_start}\nCallback for {of_start} : Failed\n",
          REFUSED + "\n"),
         ("baseband diagnostics abort it", [(1, "x")], abort, f"Sent {of_abort}\nCallback for {of_abort} : Failed\n"),
         *[("baseband diagnostics run" + words, *misused) for words in ("", " rftest x", " RFTEST")])


def test_power(hold):
    def log(action, name):
        return [ask("LogCollection", LogCollectionAction=action, TracePropertyName=name)]

    def simulate(number):
        return [ask("SimulatePowerNotification", PowerNotificationMessage=number)]

    misused = [], [], "", "Invalid power log option. Pass [npa|f3]\n", 1
    simulated = "Simulated power notification 0x"
    hold(("power enable npa", [], log("Enable", "NPA"), "Sent command to Enable NPA\n"),
         ("power disable f3", [], log("Disable", "F3"), "Sent command to Disable F3\n"),
         ("power dump f3", [REFUSAL], log("DumpLog", "F3"), "Sent command to DumpLog F3\n", "", 1),
         *[("power enable" + words, *misused) for words in ("", " NPA", " npa f3")],
         ("power simulate", [], [], "Invalid power command usage\n", "", 1),
         ("power simulate 0x1f more", [], simulate(31), simulated + "1f accepted\n"),
         ("power simulate 1Fg", [REFUSAL], simulate(31), simulated + "1f", " rejected\n", 1),
         ("power simulate 123456789", [], simulate(0x23456789), simulated + "23456789 accepted\n"),
         ("power simulate zz", [], simulate(0), simulated + "0 accepted\n"),
         ("power simulate -1", [], simulate(0xFFFFFFFF), simulated + "ffffffff accepted\n"),
         # Standard output stays hexadecimal.
         ("power simulate 1 -- baseband state -- trace filter status",
          [(), (), ok(BasebandOperatingMode=-1), (0, {"FreeSpacePercentage": 20})],
          [*simulate(1), ask("GetBasebandBootState"), ask("GetBasebandOperatingMode"), ask("GetTraceFilters")],
          simulated + "1 accepted\nBoot state: Unknown\nOperating mode: ffffffff\nFree-space filter: 14 % \n"))


def test_rfs(hold):
    def sync(wait):
        return [ask("BasebandSyncFS", FSSyncWaitForCompletion=wait)]

    erase = [ask("BasebandNVData", BasebandNVDataAction="Erase"), reset("Soft", "Remote filesystem erased by user")]
    not_synced, triggering = "Sync remote filesystem: Failed\n", "Triggering baseband soft-reset ...\n"
    erased = "Erase remote filessytem: Success\n" + triggering + "Baseband soft-reset: Success\n"
    not_erased, not_reset = "Erase remote filesystem: Failed\n", "Baseband soft-reset: Failed\n"
    hold(("rfs sync", [], sync(True), "", not_synced, 1),
         ("rfs sync nowait", [REFUSAL], sync(False), "", not_synced + REFUSED + "\n", 1),
         ("rfs sync nowait now", [EMPTY], sync(True), "", not_synced + "{}\n", 1),
         ("rfs erase all", [], erase, erased),
         ("rfs erase", [(), (0, True)], erase, erased, "", 1),
         ("rfs erase", [EMPTY], erase, erased, "", 1),
         ("rfs erase", [REFUSAL, REFUSAL], erase, triggering, f"{not_erased}{REFUSED}\n{not_reset}{REFUSED}\n", 1),
         ("rfs erase", [(1,), (1,)], erase, triggering, not_erased + not_reset))


def test_stats(hold):
    def report(**data):
        times = {"KeyBootModule" + key: time for key, time in data.items()}
        return [ask("ReportingStatistics", ReportingModuleType=0, ReportingData=times)]

    got, reported = "Success to get statstics.\n", "Success to create category in the statstics.\n"
    every = [("GetStatisticsCommand", {})]
    failed = "Failed to report statistics\nError data : "
    hold(("stats get-statistics", [(0, {"n": 1})], every, got + '{"n":1}\n'),
         ("stats get-statistics 1 2", [], every, got + "null\n"),
         ("stats get-statistics 4294967297", [], [ask("GetStatistics", ReportingModuleType=1)], got + "null\n"),
         ("stats get-statistics -1", [REFUSAL], [ask("GetStatistics", ReportingModuleType=2**32 - 1)],
          "Failed to get statistics\n", "", 1),
         ("stats bootmodule", [], report(), reported),
         ("stats bootmodule 100", [], report(LastRecoveryTime=100), reported),
         ("stats bootmodule  7", [], report(LastHardResetTime=7), reported),
         ("stats bootmodule abc 9999999999 x", [], report(LastHardResetTime=9999999999, LastRecoveryTime=0), reported),
         ("stats bootmodule", [REFUSAL], report(), failed + REFUSED + "\n", "", 1),
         ("stats bootmodule", [(1,)], report(), failed + "null\n", "", 1))


@pytest.mark.parametrize("command, trace, name, label, unit, suffix, failures", [
    ("coredump enabled", "CoreDump", "Enabled", "Enabled", "", " status", "errors"),
    ("trace keepscratch", "RYN", "KeepScratchLogs", "KeepScratchLogs", "", "", "errors"),
    ("kernelpci enabled", "KernelPCI", "Enabled", "Enabled", "", " status", "errors"),
    ("kernelpci history", "KernelPCI", "History", "History", " MB", "", "output"),
    ("kernelpci buffercount", "KernelPCI", "BufferCount", "Buffer-count", "", "", "output"),
    ("diag enabled", "DIAG", "Enabled", "Enabled", "", " status", "errors"),
    ("diag history", "DIAG", "History", "History", " MB", " status", "errors"),
    ("diag secondary-dmc", "DIAG", "File_Secondary", "Secondary-dmc", "", "", "errors"),
    ("diag extra-dmc", "DIAG", "File_Extra", "Extra-dmc", "", "", "errors"),
    ("diag sleep-dmc", "DIAG", "File_Sleep", "Sleep-dmc", "", "", "errors"),
    ("diag enabled-on-sleep", "DIAG", "Enabled_During_Sleep", "Enabled-on-sleep", "", "", "errors"),
    ("diag mode", "DIAG", "Mode", "Mode", "", "", "errors"),
])
def test_a_property_is_read_and_written_as_typed(hold, command, trace, name, label, unit, suffix, failures):
    def failing(typed, answers, requests, line):
        return typed, answers, requests, *((line, "") if failures == "output" else ("", line)), 1

    asked = [get(trace, name)]
    hold((command, [value("as told")], asked, f"{label}: as told{unit}\n"),
         (command, [EMPTY], asked, f"{label}: Unknown{unit}\n"),
         (command, [UNREADABLE], asked, f"{label}: {unit}\n"),
         failing(command, [REFUSAL], asked, f"Failed to get '{label}'{suffix}\n"),
         (command + " aS-Typed", [], [put(trace, name, "aS-Typed")], f"{label}: aS-Typed{unit}\n"),
         failing(command + " 64", [REFUSAL], [put(trace, name, "64")], f"Failed to set '{label}' to '64'{unit}\n"),
         failing(command + " true false", [], [], f"Invalid value(s) passed for '{label}'\n"))


def test_status(hold):
    diag = [get("DIAG", name) for name in
            ("Enabled", "History", "File", "File_Secondary", "File_Extra", "File_Sleep", "Enabled_During_Sleep")]
    pci = [get("KernelPCI", "Enabled"), get("KernelPCI", "History")]
    coredump = [get("CoreDump", "Enabled")]
    timed_out, lost = (0xE020E012 - 2**32,), (0xE020E011 - 2**32,)
    pci_failed, diag_failed = "Failed to get status of kernelpci trace\n", "Failed to get status of DIAG trace\n"

    def shown(enabled, history, primary, secondary, extra, on_sleep, sleep):
        return (f"Enabled: {enabled}\nHistory: {history} MB\nPrimary-dmc: {primary}\nSecondary-dmc: {secondary}\n"
                f"Extra-dmc: {extra}\nEnable-on-sleep: {on_sleep}\nSleep-dmc: {sleep}\n")

    hold(("coredump status x", [value("a\0b")], coredump, "Enabled: a\0b\n"),
         ("coredump status", [REFUSAL], coredump, "Failed to get status of baseband coredump\n", "", 1),
         ("kernelpci status x", [value("true"), value("5")], pci, "Enabled: true\nHistory: 5 MB\n"),
         ("kernelpci status", [value("true"), REFUSAL], pci, pci_failed, "", 1),
         ("diag status x", [value("1"), REFUSAL, *map(value, "34567")], diag, shown(1, "", 3, 4, 5, 7, 6)),
         # A manager that is silent or gone is asked no more than what decides.
         ("diag status", [timed_out], diag[:1], "", diag_failed, 1),
         ("diag status", [value("1"), lost], diag[:2], shown("1", *6 * [""])),
         ("kernelpci status", [timed_out, value("5")], pci, pci_failed, "", 1),
         ("diag primary-dmc", [value("Default")], diag[2:3], "Primary-dmc: Default\n"),
         ("diag primary-dmc", [REFUSAL], diag[2:3], "", "Failed to get 'Primary-dmc'\n", 1),
         *[("diag primary-dmc" + words, [], [], "", "Denied: Can't modify 'Primary-dmc'\n", 1) for words in (" x", " x y")])


def test_tems(hold, page):
    asked = [ask("GetTEMSProperty")]
    hold(("tems mode", [ok(TEMSMode="HW")], asked, "Mode: HW\n"),
         ("tems mode", [()], asked, "Mode: Unknown\n"),
         ("tems mode", [REFUSAL], asked, "", "Failed to get 'Mode'\n", 1),
         ("tems mode Hw", [], [ask("SetTEMSProperty", TEMSMode="HW")], "Mode: HW\n"),
         ("tems mode off", [REFUSAL], [ask("SetTEMSProperty", TEMSMode="OFF")], "", "Failed to set 'Mode' to 'OFF'\n", 1),
         ("tems mode sw", [], [], page("tems"), "Invalid value(s) passed for 'Mode'\n", 1),
         ("tems mode hw off", [], [], "", "", 1))


def test_trace(hold, page):
    misused = [], [], page("trace"), "", 1
    hold(("trace dump", [], [ask("CollectTraceLogs", TraceLogsReason="[ryntool] User triggered")], "Dump: Success\n"),
         ("trace dump crash", [REFUSAL], [ask("CollectTraceLogs", TraceLogsReason="[ryntool] crash")], "Dump: Failed\n"),
         *[(typed, *misused) for typed in ("trace dump a b", "trace set DIAG History", "trace get x")],
         ("trace set DIAG History 512 extra", [], [put("DIAG", "History", "512")], "DIAG: History = 512\n"),
         ("trace set NoSuch p v", [REFUSAL], [put("NoSuch", "p", "v")], "Setting NoSuch p = v failed\n", "", 1),
         ("trace get diag History x", [value("256")], [get("diag", "History")], "diag: History = 256\n"),
         ("trace get x y", [()], [get("x", "y")], "x: y = Unknown\n"),
         ("trace get  y", [], [], "Getting  y failed\n", "", 1),
         ("trace get x ", [], [], "Getting x  failed\n", "", 1),
         ("trace set  y v", [], [], "Setting  y = v failed\n", "", 1),
         ("trace set x y ", [], [put("x", "y", "")], "x: y = \n"),
         ("trace get x y", [REFUSAL], [get("x", "y")], "Getting x y failed\n", "", 1))


def test_trace_filter_add(hold, page):
    def add(name, number):
        return [ask("AddTraceFilter", TraceFilterName=name, TraceFilterValue=number)]

    help, failed = page("trace filter"), "Failed to set trace filter "
    by_default = add("MaxLogLimit", None), "Max-log limit filter: default\n"
    hold(*[(f"trace filter add freespace {typed}", [], add("FreeSpacePercentage", sent), f"Free-space filter: {typed} % \n")
           for typed, sent in [("100", 100), ("0x20", 32), ("+7", 7), ("-0", 0), ("default", None)]],
         *[(f"trace filter add maxlog {typed}", [], add("MaxLogLimit", sent), f"Max-log limit filter: {typed}\n")
           for typed, sent in [("0", 0), ("010", 8), ("2147483647", 2**31 - 1), ("0X7fffffff", 2**31 - 1), ("\t5", 5)]],
         *[(f"trace filter add freespace {typed}", [], [], help, f"\nInvalid free-space percentage [ {typed} % ] passed\n", 1)
           for typed in ("101", "-1", "0x", "x5")],
         *[(f"trace filter add maxlog {typed}", [], [], help, f"\nInvalid max-log limit [ {typed} ] passed\n", 1)
           for typed in ("0b11", "0x-5", "5abc", "08", "-2147483648", "2147483648", "Default")],
         *[("trace filter add maxlog" + words, [], *by_default) for words in ("", " 3 4")],
         ("trace filter add freespace 5", [REFUSAL], add("FreeSpacePercentage", 5), "", failed + "'Free-space' to '5 %'\n", 1),
         ("trace filter add maxlog 5", [REFUSAL], add("MaxLogLimit", 5), "", failed + "'Max-log' limit to '5'\n", 1),
         ("trace filter add", [], [], help, "\nPass filter type to be added.\n", 1),
         ("trace filter add size 5", [], [], "", "", 1))


def test_trace_filter_remove_and_status(hold, page):
    free_space, max_log = (ask("RemoveTraceFilter", TraceFilterName=name) for name in ("FreeSpacePercentage", "MaxLogLimit"))
    asked, none = [ask("GetTraceFilters")], "No trace log filters were configured\n"
    misused = [], [], "\nInvalid input. Pass a filter to be removed.\n" + page("trace filter"), "", 1
    hold(("trace filter remove freespace", [], [free_space], "Removed 'Free-space' filter\n"),
         ("trace filter remove maxlog", [REFUSAL], [max_log], "", "Failed to removed 'Max-log' filter\n", 1),
         ("trace filter remove all", [REFUSAL], [free_space, max_log], "Removed 'Max-log' filter\n",
          "Failed to removed 'Free-space' filter\n", 1),
         ("trace filter remove All", [], [], page("trace filter"), "\nInvalid filter option 'All' passed\n", 1),
         *[("trace filter remove" + words, *misused) for words in ("", " all all")],
         ("trace filter status x", [(0, {"MaxLogLimit": 3, "FreeSpacePercentage": "x"})], asked,
          "Free-space filter: 0 % \nMax-log limit filter: 3\n"),
         ("trace filter status", [(0, {"MaxLogLimit": 2**32 + 1})], asked, "Max-log limit filter: 1\n"),
         ("trace filter status", [(0, {"Other": 3})], asked, ""),
         ("trace filter status", [EMPTY], asked, none),
         ("trace filter status", [(0, 1)], asked, none),
         ("trace filter status", [REFUSAL], asked, "", "Failed to get trace filter status\n", 1))
