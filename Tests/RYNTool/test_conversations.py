"""One run of the real tool a row, against a manager that answers as told: what is typed, answered, asked, and printed."""
import json
import pathlib
import shlex

import pytest

from programs import TOOL, ScriptedManager, hold_table, run
from programs import command as ask

GROUPS = "baseband diagnostics", "baseband reset", "tems", "trace", "trace filter"  # whose help some print


@pytest.fixture(scope="module")
def manager(tmp_path_factory):
    made = ScriptedManager(tmp_path_factory.mktemp("s") / "s")
    yield made
    made.close()


def tool(manager, words):
    return run(TOOL, *words, CORVANE_SOCKET=manager.path)


def test_commands_ask_and_print_as_the_table_says(manager):
    """A line: what is typed, and behind "<-" what the manager answers in turn, each a result, an object ("...": none) and the events
    before it; it answers with success where nothing is told. Below it: what it is asked, output, errors behind "!", the status if not 0."""
    helps = {tool(manager, [*group.split(), "help"])[1]: f"(the help of {group})\n" for group in GROUPS}

    def converse(line):
        typed, _, answers = line.partition(" <- ")
        manager.begin([[... if part == "..." else part for part in answer] for answer in json.loads(answers or "[]")])
        status, output, errors = tool(manager, shlex.split(typed))
        for page, name in helps.items():
            output = output.replace(page, name)
        shown = [f"> {command} {'' if argument is None else json.dumps(argument)}".rstrip() for command, argument in manager.requests]
        for mark, text in ("", output), ("! ", errors):
            if text:
                shown += [mark + line for line in text.replace("\0", "\\0").removesuffix("\n").split("\n")]
                shown[-1] += "" if text.endswith("\n") else "\\"  # the line isn't ended
        return "\n".join(shown + [f"= {status}"] * bool(status))

    hold_table(pathlib.Path(__file__).parent / "fixtures/conversations.txt", converse)


def put(value, whose):
    return ask("SetTraceProperty", **whose, TracePropertyValue=value, TracePropertyWaitForCompletion=True)


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
def test_a_property_is_read_and_written_as_typed(manager, command, trace, name, label, unit, suffix, failures):
    def failing(line):
        return (1, line, "") if failures == "output" else (1, "", line)

    refusal, whose = (1, {"KeyErrorString": "no"}), {"TraceName": trace, "TracePropertyName": name}
    asked = [ask("GetTraceProperty", **whose)]
    for typed, answer, requests, end in [
            ("", (0, {"KeyTracePropertyValue": "as told"}), asked, (0, f"{label}: as told{unit}\n", "")),
            ("", (0, {}), asked, (0, f"{label}: Unknown{unit}\n", "")),
            ("", (0, "no dictionary"), asked, (0, f"{label}: {unit}\n", "")),
            ("", refusal, asked, failing(f"Failed to get '{label}'{suffix}\n")),
            ("aS-Typed", (), [put("aS-Typed", whose)], (0, f"{label}: aS-Typed{unit}\n", "")),
            ("64", refusal, [put("64", whose)], failing(f"Failed to set '{label}' to '64'{unit}\n")),
            ("true false", (), [], failing(f"Invalid value(s) passed for '{label}'\n"))]:
        manager.begin([answer])
        assert tool(manager, command.split() + typed.split()) == end, typed
        assert manager.requests == requests, typed
