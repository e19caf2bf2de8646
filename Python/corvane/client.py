"""The blocking client."""

from __future__ import annotations

import contextlib
import math
import select
import time
from collections import deque
from types import TracebackType
from typing import Callable, Iterator, Optional, Sequence, TypeVar

from . import commands
from .commands import LONGEST_WAIT, Command
from .errors import ConnectionLost, CorvaneError, NotConnected, TimedOut
from .protocol import MAX_EVENTS, Conversation, Event, ManagerInfo, Reply, value_of
from .transport import Transport, open_transport

Result = TypeVar("Result")

#: Seconds between attempts to connect while a state is waited for.
RETRY_AFTER = 0.1

#: Seconds that one poll(2) takes at most: its own limit is 2^31 milliseconds.
_LONGEST_POLL = 3600


def _deadline_in(seconds: float) -> float:
    return time.monotonic() + min(seconds, LONGEST_WAIT)


def _poll(transport: Transport, deadline: float | None) -> int:
    """Waits until the transport can be read or has room for what it wants to write. Returns what poll(2) found; 0: time is over."""
    poll = select.poll()
    poll.register(transport, select.POLLIN | (select.POLLOUT if transport.wants_write else 0))
    while True:
        left = _LONGEST_POLL if deadline is None else max(0.0, min(_LONGEST_POLL, deadline - time.monotonic()))
        if found := poll.poll(math.ceil(left * 1000)):
            return found[0][1]
        if deadline is not None and not time.monotonic() < deadline:
            return 0


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
        self._events: deque[Event] = deque(maxlen=MAX_EVENTS)

    def perform(self, command: Command[Result], timeout: float | None = None) -> Result:
        """Asks, waits for the reply and reads it. `timeout`: seconds; None: the command's own. Raises CorvaneError."""
        limit = command.timeout if timeout is None else min(timeout, LONGEST_WAIT)
        self._connect()
        request, packet = self._conversation.request(command.name, command.argument)
        replies: list[Reply] = []

        def take(received: Reply | Event) -> bool:
            if isinstance(received, Reply) and received.id == request:
                replies.append(received)
            return bool(replies)

        try:
            self._send(packet)
            if not self._receive_until(take, _deadline_in(limit)):
                raise TimedOut(f"The manager did not answer {command.name} within {limit:g} seconds.")
        finally:
            self._conversation.forget(request)
        return command.read(value_of(replies[0]))

    def manager(self, timeout: float = 60) -> ManagerInfo:
        """Who the manager is: its answer to this client's hello. Raises CorvaneError."""
        self._connect()
        deadline = _deadline_in(timeout)
        while self._conversation.manager is None:
            if not self._receive_until(lambda _: self._conversation.manager is not None, deadline):
                raise TimedOut(f"The manager did not answer hello within {timeout:g} seconds.")
        return self._conversation.manager

    def watch(self) -> None:
        """Has the manager send events from now on; `next_event` and `events` do it by themselves.

        Read them, or `close`: the newest 10,000 are kept, and the manager ends a connection that has too many unread. The next
        call makes it again, without the events in between."""
        self._connect()
        if not self._watching:
            self._send(Conversation.events(True))
            self._watching = True

    def _stop_watching(self) -> None:
        self._watching = False
        self._events.clear()
        if self._transport is not None:
            with contextlib.suppress(CorvaneError):  # the next call says it
                self._send(Conversation.events(False))

    def next_event(self, timeout: float | None = None) -> Event:
        """Waits for the next event. `timeout`: seconds; None: as long as it takes. Raises TimedOut, and ConnectionLost when the
        connection has ended: events may be missing then."""
        if not self._events and (not self._watching or self._transport is None):
            self.watch()
        deadline = None if timeout is None else _deadline_in(timeout)
        while not self._events:
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
        until the time is over. Raises TimedOut. Events that pass meanwhile stay for `next_event` after `watch`."""
        if state not in commands.STATES:
            raise ValueError(f"There is no boot state {state!r}; there are {', '.join(commands.STATES)}.")
        watching = self._watching
        try:
            self._wait_for_state(state, min(timeout, LONGEST_WAIT))
        finally:
            if not watching:
                self._stop_watching()

    def _wait_for_state(self, state: str, timeout: float) -> None:
        deadline = _deadline_in(timeout)
        why = ""
        while time.monotonic() < deadline:
            try:
                self.watch()  # before the state is asked for, so that no change falls between
                last = self._follow_state(state, deadline)
                if commands.is_in_state(last, state):
                    return
                why = f" it was {last} last." if last else ""
                break
            except (ConnectionLost, NotConnected) as error:
                why = f" {error}"
                time.sleep(max(0.0, min(RETRY_AFTER, deadline - time.monotonic())))
        raise TimedOut(f"The baseband was not {state} within {timeout:g} seconds:{why or ' the manager did not answer.'}")

    def _follow_state(self, wanted: str, deadline: float) -> str:
        """Asks for the boot state and follows it until it is `wanted` or time is over. Returns the last one heard of."""
        request, packet = self._conversation.request("GetBasebandBootStateCommand", None)
        state = ""

        def take(received: Reply | Event) -> bool:
            nonlocal state
            if isinstance(received, Reply):
                if received.id == request:
                    state = commands.boot_state_of(value_of(received))
            elif state and received.name == commands.BOOT_STATE_EVENT:  # one ahead of the reply is older than that
                state = commands.boot_state_of(received.payload)
            return commands.is_in_state(state, wanted)

        try:
            self._send(packet)
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
        self._connect()
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None) -> None:
        self.close()

    def _connect(self) -> None:
        """Makes the connection, where there is none or it has ended since the last call."""
        if self._transport is not None:
            with contextlib.suppress(ConnectionLost):
                self._guard(self._receive)
        if self._transport is None:
            self._transport = open_transport(self._path, self._bridge)
            self._conversation = Conversation(self._name)
            self._send(self._conversation.hello)
            if self._watching:
                self._send(Conversation.events(True))

    def _send(self, packet: bytes) -> None:
        assert self._transport is not None
        transport = self._transport
        self._guard(lambda: transport.send(packet))

    def _receive(self) -> list[Reply | Event]:
        """Returns what has come; keeps events for `next_event`."""
        assert self._transport is not None
        came = [self._conversation.receive(packet) for packet in self._transport.receive()]
        received = [one for one in came if one is not None]
        if self._watching:
            self._events.extend(event for event in received if isinstance(event, Event))
        return received

    def _guard(self, step: Callable[[], Result]) -> Result:
        """Ends the connection when the step fails. Raises Refused when that is the manager's reason for having ended it."""
        try:
            try:
                return step()
            except ConnectionLost:
                with contextlib.suppress(ConnectionLost):
                    self._receive()
                raise
        except CorvaneError:
            self.close()
            raise

    def _receive_until(self, done: Callable[[Reply | Event], bool], deadline: float | None) -> bool:
        """Hands what arrives to `done` until that is true. Returns False when the deadline passed first."""
        assert self._transport is not None
        transport = self._transport
        while ready := _poll(transport, deadline):
            if ready & select.POLLOUT:
                self._guard(transport.flush)
            if ready & ~select.POLLOUT and any(done(received) for received in self._guard(self._receive)):
                return True
        return False
