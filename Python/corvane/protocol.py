"""The manager's protocol, as corvane-protocol(7) describes it, without a socket: bytes in, bytes out.

`Conversation` is the state that both clients share: which requests wait, and what a packet means.
"""

from __future__ import annotations

import io
from dataclasses import dataclass
from typing import Dict, List, Optional, Union

import cbor2  # type: ignore[import]

from .errors import MalformedReply, Refused, RequestTooLarge

#: What commands, replies and events carry. Text that isn't UTF-8 arrives as bytes.
Value = Union[None, bool, int, str, bytes, List["Value"], Dict[str, "Value"]]

MAX_PACKET = 131_072
MAX_NESTING = 16
VERSION = 1

#: The id of replies to the connection itself.
_CONNECTION = 0

_HELLO, _REQUEST, _REPLY, _EVENTS, _EVENT = range(5)


@dataclass(frozen=True)
class Reply:
    """The manager's answer to request `id`. A `value` of None: the reply carries none."""

    id: int
    result: int
    value: Value


@dataclass(frozen=True)
class ManagerInfo:
    """The manager's answer to hello."""

    #: The manager's own version, for instance "1.0.0".
    version: str
    #: The protocol's version on this connection.
    protocol: int
    #: The lowest and the highest version of the protocol that the manager speaks.
    protocols: tuple[int, int]
    #: What the manager can do: the names of the commands that it knows.
    features: frozenset[str]


@dataclass(frozen=True)
class Event:
    """What happened in the baseband, for instance "BasebandBootStateChangeNotification"."""

    name: str
    payload: Value


def _is_value(value: object, depth: int = 1) -> bool:
    if value is None or isinstance(value, (bool, str, bytes)):
        return True
    if isinstance(value, int):
        return -(2**63) <= value < 2**63
    if depth > MAX_NESTING:
        return False
    if isinstance(value, list):
        return all(_is_value(item, depth + 1) for item in value)
    if isinstance(value, dict):
        return all(isinstance(key, str) and _is_value(item, depth + 1) for key, item in value.items())
    return False


def _is_int(value: object) -> bool:
    return isinstance(value, int) and not isinstance(value, bool)


def encode(items: list[object]) -> bytes:
    """One packet. Raises RequestTooLarge, and ValueError for what no packet can carry."""
    if not _is_value(items, depth=0):
        raise ValueError("A command carries dictionaries with text keys, lists, texts, integers of 64 bits, booleans and None.")
    packet: bytes = cbor2.dumps(items)
    if len(packet) > MAX_PACKET:
        raise RequestTooLarge(f"The request takes {len(packet)} bytes; a packet has room for {MAX_PACKET}.")
    return packet


def decode(packet: bytes) -> Reply | Event:
    """What a packet of the manager's means; what a later version puts behind its items is passed over. Raises MalformedReply."""
    try:
        stream = io.BytesIO(packet)
        items = cbor2.load(stream)
        whole = stream.tell() == len(packet)
    except Exception as error:  # the codec raises whatever its input makes it meet
        raise MalformedReply(f"The manager sent a malformed packet: {error}.") from error
    if not whole or not isinstance(items, list) or not items or not _is_int(items[0]) or not _is_value(items, depth=0):
        raise MalformedReply("The manager sent a malformed packet.")
    kind, rest = items[0], items[1:]
    if kind == _REPLY and len(rest) >= 2 and _is_int(rest[0]) and _is_int(rest[1]):
        return Reply(rest[0], rest[1], rest[2] if len(rest) > 2 else None)
    if kind == _EVENT and rest and isinstance(rest[0], str):
        return Event(rest[0], rest[1] if len(rest) > 1 else None)
    raise MalformedReply("The manager sent a packet that isn't a manager's.")


def value_of(reply: Reply) -> Value:
    """Raises Refused."""
    if reply.result != 0:
        raise Refused(reply.result, reply.value if isinstance(reply.value, dict) else None)
    return reply.value


def _manager_info(answer: Value) -> ManagerInfo:
    if isinstance(answer, dict):
        version, protocol = answer.get("KeyCorvaneVersion"), answer.get("KeyProtocolVersion")
        protocols, features = answer.get("KeyProtocolVersions"), answer.get("KeyFeatures")
        if isinstance(version, str) and isinstance(protocol, int) and isinstance(protocols, list) and isinstance(features, list):
            spoken = [number for number in protocols if isinstance(number, int)]
            if len(spoken) == 2:
                return ManagerInfo(version, protocol, (spoken[0], spoken[1]), frozenset(map(str, features)))
    raise MalformedReply("The manager's answer to hello doesn't say what it is.")


class Conversation:
    """One connection's requests: gives each an id, and says whose reply has come."""

    def __init__(self, client_name: str) -> None:
        #: With the highest version that is spoken here, so that the manager answers.
        self.hello = encode([_HELLO, VERSION, client_name, VERSION])
        #: None until the answer has come.
        self.manager: Optional[ManagerInfo] = None
        self._last_id = 0
        self._waiting: set[int] = set()

    def request(self, command: str, argument: Value) -> tuple[int, bytes]:
        self._last_id += 1
        packet = encode([_REQUEST, self._last_id, command, argument])
        self._waiting.add(self._last_id)
        return self._last_id, packet

    def forget(self, request: int) -> None:
        """A reply that comes later is dropped."""
        self._waiting.discard(request)

    @staticmethod
    def events(on: bool) -> bytes:
        return encode([_EVENTS, on])

    def receive(self, packet: bytes) -> Optional[Union[Reply, Event]]:
        """None for what nobody waits for. Raises MalformedReply, and Refused when the manager doesn't serve this client."""
        received = decode(packet)
        if isinstance(received, Reply) and received.id == _CONNECTION:
            self.manager = _manager_info(value_of(received))
            return received
        if isinstance(received, Reply):
            if received.id not in self._waiting:
                return None
            self._waiting.discard(received.id)
        return received
