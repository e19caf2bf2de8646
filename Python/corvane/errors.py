"""How a command fails."""

from __future__ import annotations

from typing import Any, Mapping


class CorvaneError(Exception):
    """A command failed. `str()` is one sentence that says why."""

    #: The result, as an unsigned 32-bit number; corvane-protocol(7) lists them.
    result: int = 0

    def __init__(self, sentence: str) -> None:
        super().__init__(sentence)


class Refused(CorvaneError):
    """The manager answered with a result that isn't 0."""

    def __init__(self, result: int, reply: Mapping[str, Any] | None) -> None:
        self.result = result & 0xFFFFFFFF
        #: The manager's dictionary; empty when it sent none.
        self.reply = dict(reply or {})
        super().__init__(self.reply.get("KeyErrorString") or f"The manager answered with result {self.result:#010x}.")


class NotConnected(CorvaneError):
    """No connection could be made."""

    result = 0xE020E010


class ConnectionLost(CorvaneError):
    """The connection ended between request and reply: the manager may have carried the command out."""

    result = 0xE020E011


class TimedOut(CorvaneError):
    """No reply came in time: the manager may still carry the command out."""

    result = 0xE020E012


class MalformedReply(CorvaneError):
    """The manager sent what the protocol doesn't allow; the connection has ended."""

    result = 0xE020E013


class RequestTooLarge(CorvaneError):
    """The request doesn't fit a packet; nothing was sent."""

    result = 0xE020E014
