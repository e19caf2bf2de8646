"""The blocking client."""

from __future__ import annotations

import select
import time
from collections import deque
from types import TracebackType
from typing import Callable, Iterator, Optional, Sequence, TypeVar

from . import commands
from .commands import Command
from .errors import ConnectionLost, CorvaneError, NotConnected, Refused, TimedOut
from .protocol import Conversation, Event, ManagerInfo, Reply, value_of
from .transport import Transport, open_transport

Result = TypeVar("Result")

#: Seconds between attempts to connect while a state is waited for.
RETRY_AFTER = 0.1


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
        return command.read(value_of(replies[0]))

    def manager(self, timeout: float = 60) -> ManagerInfo:
        """Who the manager is: its answer to this client's hello. Raises CorvaneError."""
        self._connected()
        deadline = time.monotonic() + timeout
        while self._conversation.manager is None:
            if not self._receive_until(lambda _: self._conversation.manager is not None, deadline):
                raise TimedOut(f"The manager did not answer hello within {timeout:g} seconds.")
        return self._conversation.manager

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
        """Returns when the boot state is `state`, one of `commands.STATES`. A connection that is lost or can't be made is made again
        until the time is over. Raises TimedOut. Events that pass meanwhile stay for `next_event`."""
        if state not in commands.STATES:
            raise ValueError(f"There is no boot state {state!r}; there are {', '.join(commands.STATES)}.")
        deadline = time.monotonic() + timeout
        why = ""
        while time.monotonic() < deadline:
            try:
                self.watch()  # before the state is asked for, so that no change falls between
                last = self._follow_state(state, deadline)
                if last == state:
                    return
                why = f" it was {last} last." if last else ""
                break
            except (ConnectionLost, NotConnected) as error:
                why = f" {error}"
                time.sleep(max(0.0, min(RETRY_AFTER, deadline - time.monotonic())))
        raise TimedOut(f"The baseband was not {state} within {timeout:g} seconds:{why or ' the manager did not answer.'}")

    def _follow_state(self, wanted: str, deadline: float) -> str:
        """Asks for the boot state and follows it until it is `wanted` or time is over. Returns the last one heard of."""
        transport = self._connected()
        request, packet = self._conversation.request("GetBasebandBootStateCommand", None)
        state = ""

        def take(received: Reply | Event) -> bool:
            nonlocal state
            if isinstance(received, Reply):
                if received.id == request:
                    state = commands.boot_state_of(value_of(received))
            elif state and received.name == commands.BOOT_STATE_EVENT:  # one ahead of the reply is older than that
                state = commands.boot_state_of(received.payload)
            return state == wanted

        try:
            self._guard(lambda: transport.send(packet))
            self._receive_until(take, deadline)
        finally:
            self._conversation.forget(request)
        return state

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
        except ConnectionLost:
            self._read_last_words()
            self.close()
            raise
        except CorvaneError:
            self.close()
            raise

    def _read_last_words(self) -> None:
        """What the manager said before it ended the connection. Raises Refused when that is why."""
        try:
            for packet in self._transport.receive() if self._transport else []:
                self._conversation.receive(packet)
        except ConnectionLost:
            pass
        except Refused:
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
