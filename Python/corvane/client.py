"""The blocking client."""

from __future__ import annotations

import select
import time
from collections import deque
from types import TracebackType
from typing import Callable, Iterator, Optional, Sequence, TypeVar

from . import commands
from .commands import Command
from .errors import CorvaneError, Refused, TimedOut
from .protocol import Conversation, Event, Reply
from .transport import Transport, open_transport

Result = TypeVar("Result")

_BOOT_STATE_EVENT = "BasebandBootStateChangeNotification"


class Client:
    """A connection to the manager, for one thread.

    It is made by the first call that needs it, and again by the first call after it was lost.
    """

    def __init__(self, path: str | None = None, *, bridge: Sequence[str] | None = None, name: str = "python") -> None:
        """`path`: the manager's socket; None: where the tool would look for it. `bridge`: a program that carries the protocol
        over its standard streams instead, for instance ["ssh", "bench", "corvane-bridge"]. `name`: shown in the manager's log."""
        self._path = path
        self._bridge = bridge
        self._name = name
        self._transport: Optional[Transport] = None
        self._conversation = Conversation(name)
        self._watching = False
        self._events: deque[Event] = deque()

    def perform(self, command: Command[Result], timeout: float | None = None) -> Result:
        """Asks, waits for the reply and reads it. `timeout`: seconds; None: the command's own. Raises CorvaneError."""
        transport = self._connected()
        request, packet = self._conversation.request(command.name, command.argument)
        replies: list[Reply] = []

        def take(received: Reply | Event) -> bool:
            if isinstance(received, Reply) and received.id == request:
                replies.append(received)
            return bool(replies)

        limit = command.timeout if timeout is None else timeout
        try:
            self._guard(lambda: transport.send(packet))
            if not self._receive_until(take, time.monotonic() + limit):
                raise TimedOut(f"The manager did not answer {command.name} within {limit:g} seconds.")
        finally:
            self._conversation.forget(request)
        reply = replies[0]
        if reply.result != 0:
            raise Refused(reply.result, reply.value if isinstance(reply.value, dict) else None)
        return command.read(reply.value)

    def watch(self) -> None:
        """Has the manager send events from now on; `next_event` and `events` do it by themselves."""
        if not self._watching:
            transport = self._connected()
            self._guard(lambda: transport.send(Conversation.events(True)))
            self._watching = True
        self._connected()

    def next_event(self, timeout: float | None = None) -> Event:
        """Waits for the next event. `timeout`: seconds; None: as long as it takes. Raises TimedOut."""
        self.watch()
        if not self._events:
            deadline = None if timeout is None else time.monotonic() + timeout
            if not self._receive_until(lambda _: bool(self._events), deadline):
                raise TimedOut(f"No event came within {timeout:g} seconds.")
        return self._events.popleft()

    def events(self) -> Iterator[Event]:
        """Every event from now on."""
        self.watch()
        while True:
            yield self.next_event()

    def wait_for_state(self, state: str = "Ready", timeout: float = 30) -> None:
        """Returns when the boot state is `state`. Raises TimedOut. Events that pass meanwhile stay for `next_event`."""
        deadline = time.monotonic() + timeout
        self.watch()
        seen = len(self._events)
        if self.perform(commands.boot_state()) == state:
            return

        def reached(_: Reply | Event) -> bool:
            return any(
                event.name == _BOOT_STATE_EVENT
                and isinstance(event.payload, dict)
                and event.payload.get("KeyBasebandBootState") == state
                for event in list(self._events)[seen:]
            )

        if not self._receive_until(reached, deadline):
            raise TimedOut(f"The baseband was not {state} within {timeout:g} seconds.")

    def close(self) -> None:
        """Ends the connection; the next call makes a new one."""
        if self._transport:
            self._transport.close()
            self._transport = None

    def __enter__(self) -> Client:
        self._connected()
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None) -> None:
        self.close()

    def _connected(self) -> Transport:
        if self._transport is None:
            transport = self._transport = open_transport(self._path, self._bridge)
            self._conversation = Conversation(self._name)
            self._guard(lambda: transport.send(self._conversation.hello))
            if self._watching:
                self._guard(lambda: transport.send(Conversation.events(True)))
        return self._transport

    def _guard(self, step: Callable[[], None]) -> None:
        try:
            step()
        except CorvaneError:
            self.close()
            raise

    def _receive_until(self, done: Callable[[Reply | Event], bool], deadline: float | None) -> bool:
        """Hands what arrives to `done` until that is true. Returns False when the deadline passed first."""
        transport = self._connected()
        while True:
            left = None if deadline is None else max(0.0, deadline - time.monotonic())
            writers = [transport] if transport.wants_write else []
            readable, writable, _ = select.select([transport], writers, [], left)
            if not readable and not writable and left is not None:
                return False
            finished = False

            def step() -> None:
                nonlocal finished
                if writable:
                    transport.flush()
                for packet in transport.receive() if readable else []:
                    received = self._conversation.receive(packet)
                    if isinstance(received, Event):
                        self._events.append(received)
                    if received is not None and done(received):
                        finished = True

            self._guard(step)
            if finished:
                return True
