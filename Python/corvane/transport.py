"""The ways to a manager: its socket, or a program that carries packets over its standard streams (`ssh HOST corvane-bridge`).

A transport never blocks: both clients wait for its descriptor and call it when something is there.
"""

from __future__ import annotations

import os
import socket
import struct
import subprocess
from collections import deque
from typing import Protocol, Sequence

from .errors import ConnectionLost, MalformedReply, NotConnected
from .protocol import MAX_PACKET


def default_path() -> str:
    """CORVANE_SOCKET, else the user's own manager's socket where there is one, else the system's."""
    if chosen := os.environ.get("CORVANE_SOCKET"):
        return chosen
    if runtime := os.environ.get("XDG_RUNTIME_DIR"):
        own = os.path.join(runtime, "corvane", "manager.sock")
        if os.path.exists(own):
            return own
    return "/run/corvane/manager.sock"


class Transport(Protocol):
    def fileno(self) -> int: ...

    def send(self, packet: bytes) -> None:
        """Sends, or keeps what doesn't go now until `flush`. Raises ConnectionLost."""

    def flush(self) -> None: ...

    @property
    def wants_write(self) -> bool: ...

    def receive(self) -> list[bytes]:
        """The packets that are there, perhaps none. Raises ConnectionLost and MalformedReply."""

    def close(self) -> None: ...


class SocketTransport:
    """The manager's Unix-domain socket, a packet for each packet."""

    def __init__(self, path: str) -> None:
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self._socket.setblocking(False)
        try:
            self._socket.connect(path)
        except BlockingIOError as error:  # as many wait to be accepted as may
            self._socket.close()
            raise NotConnected(f"The manager at {path} took no new connection; it may be overloaded or stopped.") from error
        except OSError as error:
            self._socket.close()
            raise NotConnected(f"No manager could be reached at {path}: {error.strerror or error}.") from error
        self._waiting: deque[bytes] = deque()

    def fileno(self) -> int:
        return self._socket.fileno()

    def send(self, packet: bytes) -> None:
        self._waiting.append(packet)
        self.flush()

    def flush(self) -> None:
        while self._waiting:
            try:
                self._socket.send(self._waiting[0])
            except (BlockingIOError, InterruptedError):
                return
            except OSError as error:
                raise ConnectionLost(f"The connection to the manager was lost: {error.strerror}.") from error
            self._waiting.popleft()

    @property
    def wants_write(self) -> bool:
        return bool(self._waiting)

    def receive(self) -> list[bytes]:
        packets: list[bytes] = []
        while True:
            try:
                packet = self._socket.recv(MAX_PACKET + 1)
            except (BlockingIOError, InterruptedError):
                return packets
            except ConnectionResetError:  # told once; what the manager said before, such as why, stands behind it
                continue
            except OSError as error:
                raise ConnectionLost(f"The connection to the manager was lost: {error.strerror}.") from error
            if not packet:
                if packets:
                    return packets  # the end is found again by the next call
                raise ConnectionLost("The manager ended the connection.")
            if len(packet) > MAX_PACKET:
                raise MalformedReply("The manager sent a packet that is too large.")
            packets.append(packet)

    def close(self) -> None:
        self._socket.close()


class BridgeTransport:
    """A program whose standard input and output carry packets, each behind its length: 32 bits, the highest byte first."""

    _LENGTH = struct.Struct(">I")

    def __init__(self, command: Sequence[str]) -> None:
        self._socket, theirs = socket.socketpair()
        try:
            self._process = subprocess.Popen(command, stdin=theirs.fileno(), stdout=theirs.fileno())
        except OSError as error:
            self._socket.close()
            raise NotConnected(f"{command[0]} could not be started: {error.strerror}.") from error
        finally:
            theirs.close()
        self._socket.setblocking(False)
        self._outgoing = bytearray()
        self._incoming = bytearray()

    def fileno(self) -> int:
        return self._socket.fileno()

    def send(self, packet: bytes) -> None:
        self._outgoing += self._LENGTH.pack(len(packet)) + packet
        self.flush()

    def flush(self) -> None:
        while self._outgoing:
            try:
                del self._outgoing[: self._socket.send(self._outgoing)]
            except (BlockingIOError, InterruptedError):
                return
            except OSError as error:
                raise ConnectionLost(f"The connection to the manager was lost: {error.strerror}.") from error

    @property
    def wants_write(self) -> bool:
        return bool(self._outgoing)

    def receive(self) -> list[bytes]:
        while True:
            try:
                part = self._socket.recv(MAX_PACKET)
            except (BlockingIOError, InterruptedError):
                return self._packets()
            except ConnectionResetError:  # as above
                continue
            except OSError as error:
                raise ConnectionLost(f"The connection to the manager was lost: {error.strerror}.") from error
            if not part:
                if packets := self._packets():
                    return packets
                raise ConnectionLost("The bridge to the manager has ended.")
            self._incoming += part

    def _packets(self) -> list[bytes]:
        packets = []
        while len(self._incoming) >= self._LENGTH.size:
            (length,) = self._LENGTH.unpack_from(self._incoming)
            if length > MAX_PACKET:
                raise MalformedReply("The bridge sent a packet that is too large.")
            end = self._LENGTH.size + length
            if len(self._incoming) < end:
                break
            packets.append(bytes(self._incoming[self._LENGTH.size : end]))
            del self._incoming[:end]
        return packets

    def close(self) -> None:
        self._socket.close()
        self._process.terminate()
        try:
            self._process.wait(timeout=1)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()


def open_transport(path: str | None, bridge: Sequence[str] | None) -> Transport:
    if bridge:
        return BridgeTransport(bridge)
    return SocketTransport(path or default_path())
