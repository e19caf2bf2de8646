"""The manager's commands: each function makes one, which `Client.perform` and `AsyncClient.perform` carry out.

A `Command` of your own serves as well, for whatever corvane-protocol(7) names:

    client.perform(Command("SimulatePowerNotificationCommand", {"KeyPowerNotificationMessage": 1}))
"""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, Callable, Generic, Literal, TypeVar

from .errors import MalformedReply
from .protocol import Value, is_int

Result = TypeVar("Result")

#: Seconds, a year: whoever asks for a longer wait gets this one.
LONGEST_WAIT = 31_536_000


def _as_sent(reply: Value) -> Any:
    return reply


@dataclass(frozen=True)
class Command(Generic[Result]):
    """What to ask, and how to read the reply."""

    name: str
    argument: Value = None
    read: Callable[[Value], Result] = field(default=_as_sent)

    @property
    def timeout(self) -> float:
        """Seconds that the library waits for the reply unless `perform` is told otherwise."""
        asked = self.argument.get("KeyTimeout") if isinstance(self.argument, dict) else None
        if is_int(asked) and asked > 0:
            return min(asked, LONGEST_WAIT) + 5.0
        return 300.0 if self.name in ("CollectTraceLogsCommand", "BasebandDiagnosticsCommand") else 60.0


def _nothing(_: Value) -> None:
    return None


def _key(key: str, kind: type[Result]) -> Callable[[Value], Result]:
    def read(reply: Value) -> Result:
        value = reply.get(key) if isinstance(reply, dict) else None
        if not isinstance(value, kind):
            raise MalformedReply(f"The reply has no {key}.")
        return value

    return read


def _dictionary(reply: Value) -> dict[str, Value]:
    if not isinstance(reply, dict):
        raise MalformedReply("The reply is no dictionary.")
    return reply


def info() -> Command[dict[str, Value]]:
    """Versions, under "KeyCorvaneVersion" and "KeyBasebandVersion"."""
    return Command("GetCorvaneInfoCommand", None, _dictionary)


def boot_state() -> Command[str]:
    """ "Off", "Booting", "Ready" or "Resetting"; with the reason in parentheses when it failed to boot: "Off (sim-missing)"."""
    return Command("GetBasebandBootStateCommand", None, _key("KeyBasebandBootState", str))


#: The boot states, as `wait_for_state` takes them.
STATES = ("Off", "Booting", "Ready", "Resetting")

BOOT_STATE_EVENT = "BasebandBootStateChangeNotification"


def boot_state_of(payload: Value) -> str:
    """The state that a reply to `boot_state` or an event of that name carries."""
    return _key("KeyBasebandBootState", str)(payload)


def is_in_state(reported: str, state: str) -> bool:
    """Whether it is the state, whatever the reason behind it."""
    return reported.split(" (")[0] == state


def operating_mode() -> Command[int]:
    """By the numbers of the QMI device-management service: 0 online, 1 low power, 3 offline, ..."""
    return Command("GetBasebandOperatingModeCommand", None, _key("KeyBasebandOperatingMode", int))


def set_operating_mode(mode: int, timeout: int = 0) -> Command[None]:
    """Ends when the mode is reached. `timeout`: seconds that the manager gives the baseband; 0, as long as it takes."""
    argument: dict[str, Value] = {"KeyBasebandOperatingMode": mode}
    if timeout > 0:
        argument["KeyTimeout"] = timeout
    return Command("SetBasebandOperatingModeCommand", argument, _nothing)


def baseband_time() -> Command[str]:
    return Command("GetBasebandTimeCommand", None, _key("KeyBasebandTimeAsString", str))


def reset(kind: Literal["soft", "hard"], reason: str) -> Command[None]:
    """Ends when the baseband is ready again."""
    kinds = {"soft": "Soft reset", "hard": "Hard reset"}
    return Command(
        "ResetBasebandCommand",
        {
            "KeyBasebandResetType": kinds[kind],
            "KeyBasebandResetSubType": "UserTriggered",
            "KeyBasebandResetReason": reason,
        },
        _nothing,
    )


def unblock_resets() -> Command[None]:
    return Command("UnblockBasebandResetCommand", None, _nothing)


def statistics() -> Command[dict[str, Value]]:
    return Command("GetStatisticsCommand", None, _dictionary)


def erase_nv_data() -> Command[None]:
    """Puts the non-volatile data and every setting back to the factory's."""
    return Command("BasebandNVDataCommand", {"KeyBasebandNVDataAction": "Erase"}, _nothing)


def trace_property(trace: str, name: str) -> Command[str]:
    return Command(
        "GetTracePropertyCommand",
        {"KeyTraceName": trace, "KeyTracePropertyName": name},
        _key("KeyTracePropertyValue", str),
    )


def set_trace_property(trace: str, name: str, value: str) -> Command[None]:
    """Ends when the change is on disk."""
    return Command(
        "SetTracePropertyCommand",
        {
            "KeyTraceName": trace,
            "KeyTracePropertyName": name,
            "KeyTracePropertyValue": value,
            "KeyTracePropertyWaitForCompletion": True,
        },
        _nothing,
    )


def collect_trace_logs(reason: str) -> Command[str]:
    """The folder of logs, when it is written."""
    return Command("CollectTraceLogsCommand", {"KeyTraceLogsReason": reason}, _key("KeyTraceLogsFolder", str))


def run_self_test(options: dict[str, Value] | None = None) -> Command[dict[str, Value]]:
    """The RF self-test; ends with the payload of its last event. `options`: limits and powers, all of them or none."""
    argument: dict[str, Value] = {
        "KeyBasebandDiagnosticsAction": "BasebandDiagnosticsActionRun",
        "KeyBasebandDiagnosticsType": "BasebandDiagnosticsTypeRFSelfTest",
    }
    if options is not None:
        argument["KeyBasebandDiagnosticsOptions"] = options
    return Command("BasebandDiagnosticsCommand", argument, _dictionary)


def abort_self_test() -> Command[None]:
    return Command("BasebandDiagnosticsCommand", {"KeyBasebandDiagnosticsAction": "BasebandDiagnosticsActionAbort"}, _nothing)
