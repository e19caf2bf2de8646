"""A client of the baseband manager: blocking (`Client`) and for asyncio (`AsyncClient`).

    from corvane import Client, commands

    with Client() as client:
        print(client.perform(commands.boot_state()))
        client.perform(commands.reset("soft", "lab"))

Both perform the `Command`s of `corvane.commands` or of your own, deliver events, and wait for a state. What fails raises a
`CorvaneError` whose text is one sentence.
"""

from .aio import AsyncClient
from .client import Client
from .commands import Command
from .errors import ConnectionLost, CorvaneError, MalformedReply, NotConnected, Refused, RequestTooLarge, TimedOut
from .protocol import Event, ManagerInfo, Value

__all__ = [
    "AsyncClient",
    "Client",
    "Command",
    "ConnectionLost",
    "CorvaneError",
    "Event",
    "MalformedReply",
    "ManagerInfo",
    "NotConnected",
    "Refused",
    "RequestTooLarge",
    "TimedOut",
    "Value",
]
