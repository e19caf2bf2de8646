"""The manager's protocol, as corvane-protocol(7) describes it, without a socket: bytes in, bytes out.

`Conversation` is the state that both clients share: which requests wait, and what a packet means.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Dict, List, Optional, TypeGuard, Union

import cbor2  # type: ignore[import]

from .errors import MalformedReply, Refused, RequestTooLarge

#: What commands, replies and events carry. Text that isn't UTF-8 arrives as bytes.
Value = Union[None, bool, int, str, bytes, List["Value"], Dict[str, "Value"]]

MAX_PACKET = 131_072
MAX_NESTING = 16
MAX_VALUES = 1024
VERSION = 1

#: Events that a client keeps until they are asked for. When there are more, it drops the oldest.
MAX_EVENTS = 10_000

#: The id of replies to the connection itself.
_CONNECTION = 0

_HELLO, _REQUEST, _REPLY, _EVENTS, _EVENT = range(5)

# The heads of CBOR's items (RFC 8949 section 3).
_BYTES, _TEXT, _TAG = 2, 3, 6
_ONE_BYTE, _EIGHT_BYTES = 24, 27


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


def is_int(value: object) -> TypeGuard[int]:
    return isinstance(value, int) and not isinstance(value, bool)


def _is_result(value: object) -> bool:
    return is_int(value) and -(2**31) <= value < 2**31


def _count(value: object, depth: int = 1, for_key: int = 0) -> int:
    """How many values it is, itself included; a key counts as `for_key`. Raises ValueError for what no packet can carry."""
    if value is None or isinstance(value, (bool, str, bytes)):
        return 1
    if isinstance(value, int) and -(2**63) <= value < 2**63:
        return 1
    if isinstance(value, list) and depth <= MAX_NESTING:
        return 1 + sum(_count(item, depth + 1, for_key) for item in value)
    if isinstance(value, dict) and depth <= MAX_NESTING and all(isinstance(key, str) and "\0" not in key for key in value):
        return 1 + sum(for_key + _count(item, depth + 1, for_key) for item in value.values())
    raise ValueError(
        "Commands carry dictionaries with text keys that hold no NUL, lists, texts, integers of 64 bits, booleans and None,"
        f" nested at most {MAX_NESTING} deep."
    )


def _count_heads(packet: bytes) -> int:
    """How many items stand in the packet, keys counted. Raises ValueError for tags and indefinite lengths."""
    place = count = 0
    while place < len(packet):
        major, information = packet[place] >> 5, packet[place] & 0x1F
        if major == _TAG or information > _EIGHT_BYTES:
            raise ValueError("it has a tag or an item of indefinite length")
        size = 0 if information < _ONE_BYTE else 1 << (information - _ONE_BYTE)
        argument = int.from_bytes(packet[place + 1 : place + 1 + size], "big") if size else information
        place += 1 + size + (argument if major in (_BYTES, _TEXT) else 0)
        count += 1
    return count


def _fit(values: list[object]) -> bool:
    return sum(map(_count, values)) <= MAX_VALUES


def encode(items: list[object]) -> bytes:
    """One packet. Raises RequestTooLarge, and ValueError for what no packet can carry."""
    _count(items, depth=0)
    if not _fit(items[3:]):
        raise RequestTooLarge(f"The request's argument holds more than {MAX_VALUES} values.")
    packet: bytes = cbor2.dumps(items)
    if len(packet) > MAX_PACKET:
        raise RequestTooLarge(f"The request takes {len(packet)} bytes; a packet has room for {MAX_PACKET}.")
    return packet


def decode(packet: bytes) -> Reply | Event:
    """What a packet of the manager's means; what a later version puts behind its items is passed over. Raises MalformedReply."""
    try:
        heads = _count_heads(packet)
        items = cbor2.loads(packet)
        whole = _count(items, depth=0, for_key=1) == heads  # not with bytes behind the item, or a key that stands twice
    except Exception as error:  # the codec raises whatever its input makes it meet
        raise MalformedReply(f"The manager sent a malformed packet: {str(error).rstrip('.')}.") from error
    if not whole or not isinstance(items, list) or not items or not is_int(items[0]):
        raise MalformedReply("The manager sent a malformed packet.")
    kind, rest = items[0], items[1:]
    if kind == _REPLY and len(rest) >= 2 and is_int(rest[0]) and _is_result(rest[1]) and _fit(rest[2:]):
        return Reply(rest[0], rest[1], rest[2] if len(rest) > 2 else None)
    if kind == _EVENT and rest and isinstance(rest[0], str) and _fit(rest[1:]):
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
        if isinstance(version, str) and is_int(protocol) and isinstance(protocols, list) and isinstance(features, list):
            spoken = [number for number in protocols if is_int(number)]
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
