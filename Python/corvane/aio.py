"""The client for asyncio."""

from __future__ import annotations

import asyncio
from types import TracebackType
from typing import AsyncIterator, Optional, Sequence, TypeVar

from . import commands
from .commands import Command
from .errors import ConnectionLost, CorvaneError, NotConnected, Refused, TimedOut
from .protocol import Conversation, Event, Reply
from .transport import Transport, open_transport

Result = TypeVar("Result")


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

    async def connect(self) -> None:
        """Raises NotConnected."""
        self.close()
        self._transport = open_transport(self._path, self._bridge)
        self._conversation = Conversation(self._name)
        asyncio.get_running_loop().add_reader(self._transport.fileno(), self._receive)
        self._send(self._conversation.hello)

    async def perform(self, command: Command[Result], timeout: float | None = None) -> Result:
        """Asks, waits for the reply and reads it. `timeout`: seconds; None: the command's own. Raises CorvaneError."""
        if self._transport is None:
            raise NotConnected("There is no connection to the manager.")
        request, packet = self._conversation.request(command.name, command.argument)
        reply = self._replies[request] = asyncio.get_running_loop().create_future()
        limit = command.timeout if timeout is None else timeout
        try:
            self._send(packet)
            answer = await asyncio.wait_for(reply, limit)
        except asyncio.TimeoutError:
            raise TimedOut(f"The manager did not answer {command.name} within {limit:g} seconds.") from None
        finally:
            self._replies.pop(request, None)
            self._conversation.forget(request)
        if answer.result != 0:
            raise Refused(answer.result, answer.value if isinstance(answer.value, dict) else None)
        return command.read(answer.value)

    async def events(self) -> AsyncIterator[Event]:
        """Every event from the first step on. Raises ConnectionLost when the connection ends."""
        if self._transport is None:
            raise NotConnected("There is no connection to the manager.")
        queue: asyncio.Queue[Event | CorvaneError] = asyncio.Queue()
        self._listeners.add(queue)
        self._send(Conversation.events(True))
        try:
            while True:
                event = await queue.get()
                if isinstance(event, CorvaneError):
                    raise event
                yield event
        finally:
            self._listeners.discard(queue)
            if not self._listeners and self._transport is not None:
                self._send(Conversation.events(False))

    async def wait_for_state(self, state: str = "Ready", timeout: float = 30) -> None:
        """Returns when the boot state is `state`. Raises TimedOut."""

        async def wait() -> None:
            events = self.events()
            following = asyncio.ensure_future(events.__anext__())
            try:
                await asyncio.sleep(0)  # events are on before the state is asked for, so that no change falls between
                current = await self.perform(commands.boot_state())
                while current != state:
                    event = await following
                    if event.name == "BasebandBootStateChangeNotification" and isinstance(event.payload, dict):
                        current = str(event.payload.get("KeyBasebandBootState"))
                    following = asyncio.ensure_future(events.__anext__())
            finally:
                following.cancel()
                await asyncio.gather(following, return_exceptions=True)
                await events.aclose()  # type: ignore[attr-defined]

        try:
            await asyncio.wait_for(wait(), timeout)
        except asyncio.TimeoutError:
            raise TimedOut(f"The baseband was not {state} within {timeout:g} seconds.") from None

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

    def _send(self, packet: bytes) -> None:
        assert self._transport is not None
        try:
            self._transport.send(packet)
        except CorvaneError as error:
            self._end(error)
            raise
        self._write_later()

    def _write_later(self) -> None:
        if self._transport is not None and self._transport.wants_write:
            asyncio.get_running_loop().add_writer(self._transport.fileno(), self._flush)

    def _flush(self) -> None:
        assert self._transport is not None
        try:
            self._transport.flush()
        except CorvaneError as error:
            self._end(error)
            return
        if not self._transport.wants_write:
            asyncio.get_running_loop().remove_writer(self._transport.fileno())

    def _receive(self) -> None:
        assert self._transport is not None
        try:
            for packet in self._transport.receive():
                received = self._conversation.receive(packet)
                if isinstance(received, Event):
                    for listener in self._listeners:
                        listener.put_nowait(received)
                elif received is not None and not self._replies[received.id].done():
                    self._replies[received.id].set_result(received)
        except CorvaneError as error:
            self._end(error)

    def _end(self, error: CorvaneError) -> None:
        if self._transport is None:
            return
        loop = asyncio.get_running_loop()
        loop.remove_reader(self._transport.fileno())
        loop.remove_writer(self._transport.fileno())
        self._transport.close()
        self._transport = None
        for reply in self._replies.values():
            if not reply.done():
                reply.set_exception(error)
        for listener in self._listeners:
            listener.put_nowait(error)
