"""Both clients against a real manager, at its socket and through the bridge."""

import asyncio
import contextlib
import os
import signal
import socket
import threading

import cbor2
import pytest

from corvane import AsyncClient, Client, Command, ConnectionLost, CorvaneError, MalformedReply, NotConnected, Refused
from corvane import RequestTooLarge, TimedOut, commands
from corvane.pytest_plugin import RunningManager
from programs import ScriptedManager, run

BRIDGE = os.environ.get("CORVANE_BRIDGE", "corvane-bridge")


@pytest.fixture(params=["socket", "bridge"])
def client(request, corvane, monkeypatch):
    monkeypatch.setenv("CORVANE_SOCKET", corvane.socket)
    with Client(bridge=[BRIDGE] if request.param == "bridge" else None) as client:
        yield client


def test_commands_change_the_baseband(client):
    client.wait_for_state("Ready")
    client.perform(commands.set_operating_mode(0))
    assert client.perform(commands.operating_mode()) == 0
    client.perform(commands.set_trace_property("DIAG", "History", "300"))
    assert client.perform(commands.trace_property("DIAG", "History")) == "300"
    client.watch()
    client.perform(commands.reset("soft", "lab"))
    assert client.perform(commands.boot_state()) == "Ready"
    states = []
    while states[-3:] != ["Resetting", "Booting", "Ready"]:
        states += [value for key, value in client.next_event(timeout=5).payload.items() if key == "KeyBasebandBootState"]
    assert client.perform(commands.info())["KeyCorvaneVersion"]
    client.perform(commands.collect_trace_logs("a \u00e9 reason"))


@pytest.mark.parametrize("command, result", [
    (Command("NoSuchCommand"), 0xE020E100),
    (Command("SetBasebandOperatingModeCommand", {"KeyBasebandOperatingMode": "x"}), 0xE020E101),
    (commands.trace_property("DIAG", "NoSuchProperty"), 0xE020E101),
])
def test_a_refusal_tells_its_reason(client, command, result):
    with pytest.raises(Refused) as refused:
        client.perform(command)
    assert refused.value.result == result
    assert str(refused.value).endswith(".")


def test_what_no_packet_carries_is_refused_here(client):
    for error, values in [(RequestTooLarge, ["x" * 200_000, 1023 * [0]]),
                          (ValueError, [1.5, {1: 2}, 2**63, 10**400, (1, 2), {"Ke\0y": 1}])]:
        for value in values:
            with pytest.raises(error):
                client.perform(Command("GetStatisticsCommand", {"KeyTimeout": value}))
    assert client.perform(Command("GetStatisticsCommand", {"Key": 1021 * [0], "KeyTimeout": 2**62}))
    assert client.perform(commands.statistics(), timeout=10**400)


@pytest.mark.corvane("--fault", "GetBasebandTimeCommand=hang", "--fault", "GetStatisticsCommand=malformed")
def test_a_manager_that_hangs_or_babbles(client):
    with pytest.raises(TimedOut):
        client.perform(commands.baseband_time(), timeout=0.05)
    client.perform(commands.info())  # the connection is as good as before
    with pytest.raises(MalformedReply):
        client.perform(commands.statistics())
    client.perform(commands.info())  # on a new connection


@pytest.mark.corvane("--fault", "GetBasebandTimeCommand=drop")
def test_a_lost_connection_is_made_again(client, corvane):
    client.watch()
    client.perform(commands.set_trace_property("DIAG", "History", "300"))
    with pytest.raises(ConnectionLost):
        client.perform(commands.baseband_time())
    corvane.restart()
    client.wait_for_state("Ready")
    assert client.perform(commands.trace_property("DIAG", "History")) == "300"
    client.perform(commands.set_operating_mode(0))
    assert client.next_event(timeout=5).name.startswith("Baseband")


@pytest.mark.corvane(scenario={"steps": [{"at": 0, "action": "fail-boot"}]})
def test_a_scenario_is_played(corvane):
    with pytest.raises(Refused):
        corvane.client.perform(commands.set_operating_mode(0))
    corvane.client.wait_for_state("Off")
    assert corvane.client.perform(commands.boot_state()) == "Off (boot-failed)"


def test_no_manager(tmp_path):
    with pytest.raises(pytest.fail.Exception, match="The manager did not start: .*no-such-option"):
        RunningManager(tmp_path, ["--no-such-option"]).start()
    (manager := RunningManager(tmp_path)).start()
    os.kill(manager._process.pid, signal.SIGKILL)
    with pytest.raises(pytest.fail.Exception, match="The manager ended with -9: "):
        manager.stop()
    missing = str(tmp_path / "none.sock")
    for client in (Client(missing), Client(bridge=["/nonexistent/bridge"])):
        with pytest.raises(NotConnected):
            client.perform(commands.info())
    with pytest.raises(NotConnected):
        asyncio.run(AsyncClient(missing).connect())


def test_the_bridge_says_what_is_wrong(corvane):
    status, page, errors = run(BRIDGE, "--help")
    assert (status, errors) == (0, "") and page.startswith("Usage: corvane-bridge [OPTION]\n") and "its length, 32 bits with" in page
    assert run(BRIDGE, "--version") == (0, "corvane-bridge 1.0.0\n", "") and run(BRIDGE, CORVANE_SOCKET=corvane.socket) == (0, "", "")
    long = "/tmp/" + 103 * "x"
    for words, path, came_in, status, said in [
        (["x"], "", "", 2, "unexpected 'x'; it takes --help, --version or nothing"),
        ([], "/tmp/none/s", "", 1, "no manager could be reached at /tmp/none/s: No such file or directory"),
        ([], long, "", 1, f"the path of the manager's socket is too long: {long}"),
        ([], corvane.socket, "\0\0\0\0", 1, "a packet of 0 bytes came in; 1 to 131072 may"),
        ([], corvane.socket, "\0\2\0\1", 1, "a packet of 131073 bytes came in; 1 to 131072 may"),
    ]:
        assert run(BRIDGE, *words, input=came_in, CORVANE_SOCKET=path) == (status, "", f"corvane-bridge: {said}\n")


def state(packet, name):
    return cbor2.dumps([*packet, {"KeyBasebandBootState": name}])


class OneQuestionManager(ScriptedManager):
    """Its answers are the packets that answer the first question on each connection, unread; None: the connection's end."""

    def converse(self, client):
        while cbor2.loads(client.recv(1000, socket.MSG_PEEK))[0] != 1:
            client.recv(1000)
        with contextlib.suppress(OSError):
            for packet in self.answers.pop(0) if self.answers else [None]:
                client.close() if packet is None else client.send(packet)
        self.clients[client] = False  # which keeps it open


@pytest.mark.parametrize("answer, error", [
    *[(cbor2.dumps(packet), MalformedReply) for packet in (
        [2, 1, 0, 1.5], [0, 1, "manager"], [], [9, "of no version"], [2, 0, 0, {}], [2, 1, 2**31],
        [2, 1, 0, {"KeyBasebandBootState": "Off", "Ke\0y": 1}], *[[2, 1, 0, {"KeyBasebandBootState": "Off"}, extra] for extra in (
            1022 * ["extra"], cbor2.CBORTag(2, b"a number"), 2**63)])],
    (cbor2.dumps([2, 1, 0]) + b"\0", MalformedReply),
    (state([2, 1, 0], "Off").replace(b"\xa1", b"\xa2") + state([2, 1, 0], "Off")[5:], MalformedReply),  # a key that stands twice
    (b"\xff", MalformedReply),
    (b"", ConnectionLost),
    (cbor2.dumps([2, 0, -534716147, {"KeyErrorString": "This manager speaks version 7."}]), Refused),
    (cbor2.dumps([2, 99, 0]), None),
    (cbor2.dumps([2, 1, 0, {"KeyBasebandBootState": "Off"}, 1021 * ["extra"]]), None),
])
@pytest.mark.parametrize("bridge", [None, [BRIDGE]])
def test_a_manager_that_answers_anything(tmp_path, monkeypatch, answer, error, bridge):
    """What a later manager may add is passed over; what the protocol forbids ends the connection, never the program."""
    packets = [answer or None, None if error is Refused else state([2, 1, 0], "Off")]
    monkeypatch.setenv("CORVANE_SOCKET", str(tmp_path / "sock"))
    with contextlib.closing(OneQuestionManager(tmp_path / "sock", packets)), Client(bridge=bridge) as client:
        with pytest.raises(error) if error else contextlib.nullcontext():
            assert client.perform(commands.boot_state(), timeout=5) == "Off"


def test_the_manager_says_who_it_is(client, corvane):
    async def ask():
        async with AsyncClient(corvane.socket) as other:
            return await other.manager()

    manager = client.manager()
    assert manager.version == client.perform(commands.info())["KeyCorvaneVersion"]
    assert (manager.protocol, manager.protocols) == (1, (1, 1))
    assert "ResetBasebandCommand" in manager.features
    assert asyncio.run(ask()) == manager


BOOTING, OFF = (state([4, "BasebandBootStateChangeNotification"], name) for name in ("Booting", "Off (boot-failed)"))


@pytest.mark.parametrize("asynchronous", [False, True])
@pytest.mark.parametrize("connections, error", [
    ([[state([2, 1, 0], "Off"), BOOTING]], None),  # both come at once
    ([[state([2, 1, 0], "Booting"), OFF]], None),  # both come at once
    ([[OFF, state([2, 1, 0], "Booting")]], "Off within 0.3 seconds"),  # the event is older than the reply
    ([[]], "Off within 0.3 seconds"),
    ([[None], [state([2, 1, 0], "Booting"), None], [state([2, 1, 0], "Off")]], None),  # lost twice
    ([[None]], "Off within 0.3 seconds"),  # and no manager any more
    ([[cbor2.dumps([2, 1, -534716159, {"KeyErrorString": "No."}])]], "No."),
])
def test_waiting_for_a_state(tmp_path, connections, error, asynchronous):
    async def wait_side_by_side(path, timeout):
        with contextlib.closing(AsyncClient(path)) as client:
            await client.wait_for_state("Off", timeout)

    def wait(path, timeout):
        if asynchronous:
            asyncio.run(wait_side_by_side(path, timeout))
        else:
            with Client(path) as client:
                client.wait_for_state("Off", timeout)

    with contextlib.closing(OneQuestionManager(tmp_path / "sock", *connections)) as manager:
        with pytest.raises(CorvaneError, match=error) if error else contextlib.nullcontext():
            wait(manager.path, 0.3 if error else 30)


def test_events_are_off_after_a_wait_and_an_ended_connection_is_made_again(tmp_path):
    manager = ScriptedManager(tmp_path / "sock", [0, {"KeyBasebandBootState": "Ready"}])
    with contextlib.closing(manager), Client(manager.path) as client:
        client.wait_for_state("Ready")
        client.perform(Command("First"))
        manager.drop_all()
        client.perform(Command("Second"))
        manager.got("Second")
    assert manager.packets == ["hello python", "events True", "GetBasebandBootStateCommand", "events False", "First", "hello python", "Second"]


def test_a_manager_that_accepts_nobody_and_then_refuses(tmp_path):
    async def session(path, client):
        with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as listener:
            listener.bind(path)
            listener.listen(0)
            await client.connect()  # as many as may wait to be accepted
            with pytest.raises(NotConnected, match="overloaded or stopped"):
                Client(path).perform(commands.info())
            assert run(BRIDGE, CORVANE_SOCKET=path)[2].endswith("it may be overloaded or stopped\n")
            with listener.accept()[0] as accepted:
                accepted.send(cbor2.dumps([2, 0, -534716148, {"KeyErrorString": "No."}]))
        for _ in range(2):
            with pytest.raises(Refused, match="No."):
                await client.perform(commands.info())

    asyncio.run(session(path := str(tmp_path / "sock"), AsyncClient(path)))


def test_waiting_for_a_manager_that_is_yet_to_start(tmp_path):
    manager = RunningManager(tmp_path)
    with pytest.raises(ValueError):
        manager.client.wait_for_state("ready")
    waiter = threading.Thread(target=manager.client.wait_for_state, args=["Ready", 30])
    waiter.start()
    manager.start()
    waiter.join()
    assert manager.client.perform(commands.boot_state()) == "Ready"
    manager.client.close()
    manager.stop()


@pytest.mark.corvane("--fault", "GetBasebandTimeCommand=hang")
def test_asyncio_commands_run_side_by_side(corvane):
    async def session():
        async with AsyncClient(corvane.socket) as client:
            await client.wait_for_state("Ready")
            events = client.events()
            first = asyncio.ensure_future(anext(events))
            await asyncio.sleep(0)
            reset = asyncio.ensure_future(client.perform(commands.reset("soft", "lab")))
            hanging = asyncio.ensure_future(client.perform(commands.baseband_time()))
            await asyncio.gather(*(client.perform(commands.info()) for _ in range(100)))
            assert (await first).name.startswith("Baseband")
            assert not hanging.done()  # a hundred answers came while it went on
            hanging.cancel()
            await reset
            with pytest.raises(Refused):
                await client.perform(Command("NoSuchCommand"))
            with pytest.raises(TimedOut):
                await client.wait_for_state("Off", timeout=0.05)

    asyncio.run(session())


@pytest.mark.corvane("--fault", "GetBasebandTimeCommand=hang")
@pytest.mark.parametrize("bridge", [False, True])
def test_asyncio_end_of_the_manager_ends_each_request(corvane, monkeypatch, bridge):
    monkeypatch.setenv("CORVANE_SOCKET", corvane.socket)

    async def session():
        async with AsyncClient(bridge=[BRIDGE] if bridge else None) as client:
            waiting = [asyncio.ensure_future(client.perform(commands.baseband_time())) for _ in range(5)]
            await client.perform(commands.info())
            corvane.stop()
            results = await asyncio.gather(*waiting, return_exceptions=True)
            assert all(isinstance(result, CorvaneError) for result in results)
            with pytest.raises(NotConnected):
                await client.perform(commands.info())

    asyncio.run(session())


def test_a_bridge_that_was_cut_is_made_again(corvane, monkeypatch):
    monkeypatch.setenv("CORVANE_SOCKET", corvane.socket)
    with Client(bridge=[BRIDGE]) as client:
        client._transport._process.kill()
        client._transport._process.wait()
        assert client.perform(commands.info())
