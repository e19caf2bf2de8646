"""The client for asyncio."""

from __future__ import annotations

import asyncio
import contextlib
from types import TracebackType
from typing import Any, AsyncIterator, Optional, Sequence, TypeVar

from . import commands
from .commands import LONGEST_WAIT, Command
from .client import RETRY_AFTER
from .errors import ConnectionLost, CorvaneError, NotConnected, Refused, TimedOut
from .protocol import MAX_EVENTS, Conversation, Event, ManagerInfo, Reply, Value, value_of
from .transport import Transport, open_transport

Result = TypeVar("Result")


class _StateWatch:
    """Follows the boot state from the reply to `request` on, until it is `wanted`."""

    def __init__(self, request: int, wanted: str) -> None:
        self.reached: asyncio.Future[None] = asyncio.get_running_loop().create_future()
        self._request = request
        self._wanted = wanted
        self._asked = False

    def take(self, received: Reply | Event) -> None:
        if self.reached.done():
            return
        try:
            if isinstance(received, Reply):
                if received.id == self._request:
                    self._asked = True
                    self._check(value_of(received))
            elif self._asked and received.name == commands.BOOT_STATE_EVENT:  # one ahead of the reply is older than that
                self._check(received.payload)
        except CorvaneError as error:
            self.reached.set_exception(error)

    def _check(self, payload: Value) -> None:
        if commands.is_in_state(commands.boot_state_of(payload), self._wanted):
            self.reached.set_result(None)


class AsyncClient:
    """A connection to the manager: commands run side by side, events go to everyone who listens.

        async with AsyncClient() as client:
            state = await client.perform(commands.boot_state())

    A lost connection ends what is under way; `connect` makes a new one.
    """

    def __init__(self, path: str | None = None, *, bridge: Sequence[str] | None = None, name: str = "python") -> None:
        """As for the blocking Client."""
        self._path = path
        self._bridge = bridge
        self._name = name
        self._transport: Optional[Transport] = None
        self._conversation = Conversation(name)
        self._replies: dict[int, asyncio.Future[Reply]] = {}
        self._listeners: set[asyncio.Queue[Event | CorvaneError]] = set()
        self._watches: set[_StateWatch] = set()
        self._manager: asyncio.Future[ManagerInfo]
        self._why_ended: Optional[CorvaneError] = None

    async def connect(self) -> None:
        """Raises NotConnected."""
        self.close()
        self._why_ended = None
        self._transport = open_transport(self._path, self._bridge)
        self._conversation = Conversation(self._name)
        self._manager = asyncio.get_running_loop().create_future()
        asyncio.get_running_loop().add_reader(self._transport.fileno(), self._receive)
        self._send(self._conversation.hello)

    async def perform(self, command: Command[Result], timeout: float | None = None) -> Result:
        """Asks, waits for the reply and reads it. `timeout`: seconds; None: the command's own. Raises CorvaneError."""
        self._require_connection()
        limit = command.timeout if timeout is None else min(timeout, LONGEST_WAIT)
        request, packet = self._conversation.request(command.name, command.argument)
        reply = self._replies[request] = asyncio.get_running_loop().create_future()
        try:
            self._send(packet)
            answer = await asyncio.wait_for(reply, limit)
        except asyncio.TimeoutError:
            raise TimedOut(f"The manager did not answer {command.name} within {limit:g} seconds.") from None
        finally:
            self._replies.pop(request, None)
            self._conversation.forget(request)
        return command.read(value_of(answer))

    async def events(self) -> AsyncIterator[Event]:
        """Every event from the first step on; who falls behind gets the newest 10,000. Raises ConnectionLost when the connection
        ends."""
        self._require_connection()
        queue: asyncio.Queue[Event | CorvaneError] = asyncio.Queue()
        self._listeners.add(queue)
        try:
            self._listen_to_events()
            while True:
                event = await queue.get()
                if isinstance(event, CorvaneError):
                    raise event
                yield event
        finally:
            self._listeners.discard(queue)
            self._leave_events()

    def _listen_to_events(self) -> None:
        self._send(Conversation.events(True))

    def _leave_events(self) -> None:
        if not self._listeners and not self._watches and self._transport is not None:
            with contextlib.suppress(CorvaneError):  # whoever waits on the connection is told of its end
                self._send(Conversation.events(False))

    async def manager(self, timeout: float = 60) -> ManagerInfo:
        """Who the manager is: its answer to this client's hello. Raises CorvaneError."""
        self._require_connection()
        try:
            return await asyncio.wait_for(asyncio.shield(self._manager), min(timeout, LONGEST_WAIT))
        except asyncio.TimeoutError:
            raise TimedOut(f"The manager did not answer hello within {timeout:g} seconds.") from None

    async def wait_for_state(self, state: str = "Ready", timeout: float = 30) -> None:
        """Returns when the boot state is `state`, one of `commands.STATES`. A connection that is lost or can't be made is made again
        until the time is over. Raises TimedOut."""
        if state not in commands.STATES:
            raise ValueError(f"There is no boot state {state!r}; there are {', '.join(commands.STATES)}.")
        why, timeout = "", min(timeout, LONGEST_WAIT)

        async def wait() -> None:
            nonlocal why
            while True:
                try:
                    if self._transport is None:
                        await self.connect()
                    await self._follow_state(state)
                    return
                except (ConnectionLost, NotConnected) as error:
                    why = f": {error}"
                    await asyncio.sleep(RETRY_AFTER)

        try:
            await asyncio.wait_for(wait(), timeout)
        except asyncio.TimeoutError:
            raise TimedOut(f"The baseband was not {state} within {timeout:g} seconds{why or '.'}") from None

    async def _follow_state(self, wanted: str) -> None:
        """Asks for the boot state and follows it until it is `wanted`."""
        self._listen_to_events()  # before the state is asked for, so that no change falls between
        request, packet = self._conversation.request("GetBasebandBootStateCommand", None)
        watch = _StateWatch(request, wanted)
        self._watches.add(watch)
        try:
            self._send(packet)
            await watch.reached
        finally:
            self._watches.discard(watch)
            self._conversation.forget(request)
            self._leave_events()

    def close(self) -> None:
        """Ends the connection, and with ConnectionLost what is under way."""
        self._end(ConnectionLost("The connection was closed."))

    async def __aenter__(self) -> AsyncClient:
        await self.connect()
        return self

    async def __aexit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def _require_connection(self) -> None:
        """Raises NotConnected, or Refused when the manager doesn't serve this client."""
        if self._transport is None:
            if isinstance(self._why_ended, Refused):
                raise self._why_ended.with_traceback(None)
            raise NotConnected("There is no connection to the manager.")

    def _send(self, packet: bytes) -> None:
        assert self._transport is not None
        try:
            self._transport.send(packet)
        except CorvaneError as error:
            raise self._lose(error)
        self._write_later()

    def _lose(self, error: CorvaneError) -> CorvaneError:
        """Ends the connection. Returns why: what the manager said before it ended it, else `error`."""
        self._receive()
        self._end(error)
        return self._why_ended or error

    def _write_later(self) -> None:
        if self._transport is not None and self._transport.wants_write:
            asyncio.get_running_loop().add_writer(self._transport.fileno(), self._flush)

    def _flush(self) -> None:
        assert self._transport is not None
        try:
            self._transport.flush()
        except CorvaneError as error:
            self._lose(error)
            return
        if not self._transport.wants_write:
            asyncio.get_running_loop().remove_writer(self._transport.fileno())

    def _receive(self) -> None:
        assert self._transport is not None
        try:
            for packet in self._transport.receive():
                received = self._conversation.receive(packet)
                if received is not None:
                    self._take(received)
        except CorvaneError as error:
            self._end(error)

    def _take(self, received: Reply | Event) -> None:
        for watch in self._watches:
            watch.take(received)
        if isinstance(received, Event):
            for listener in self._listeners:
                if listener.qsize() >= MAX_EVENTS:
                    listener.get_nowait()
                listener.put_nowait(received)
        elif self._conversation.manager is not None and not self._manager.done():
            self._manager.set_result(self._conversation.manager)
        elif received.id in self._replies and not self._replies[received.id].done():
            self._replies[received.id].set_result(received)

    def _end(self, error: CorvaneError) -> None:
        if self._transport is None:
            return
        self._why_ended = error
        loop = asyncio.get_running_loop()
        loop.remove_reader(self._transport.fileno())
        loop.remove_writer(self._transport.fileno())
        self._transport.close()
        self._transport = None
        waiting: list[asyncio.Future[Any]] = [*self._replies.values(), *(watch.reached for watch in self._watches), self._manager]
        for future in waiting:
            if not future.done():
                future.set_exception(error)
                future.exception()  # so that asyncio doesn't log one that nobody waits for
        for listener in self._listeners:
            listener.put_nowait(error)
