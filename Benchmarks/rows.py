"""The figures, each a ratio within one run but for those of memory and rest. `ROWS` is the table that script/bench prints."""

import dataclasses
import functools
import pathlib
import time
import typing

import measure
from world import run

COMMANDS = 10_000
REST_SECONDS = 60
RECORDING_SECONDS = 20


@dataclasses.dataclass(frozen=True)
class Row:
    name: str
    what: str
    figure: typing.Callable  # of a World; the number, and a few words on where it comes from
    at_most: float | None = None
    at_least: float | None = None
    unit: str = ""

    @property
    def reach(self):
        if self.at_most is not None:
            return f"at most {self.at_most:g}{self.unit}"
        return "" if self.at_least is None else f"at least {self.at_least:g}{self.unit}"

    def is_met(self, value):
        """As the table shows the figure, so with two decimals."""
        value = round(value, 2)
        return (self.at_most is None or value <= self.at_most) and (self.at_least is None or value >= self.at_least)


# One-shot runs

def _one_shots(world):
    """Each is made when asked for: that starts what it talks to."""
    return {
        "tool": lambda: [*world.tool, "coredump", "status"],
        "limit": lambda: [world.program("limit_oneshot"), world.limit.address],
        "wpa": lambda: [world.program("wpa_cli"), "-g", world.wpa.address, "ping"],
        "redis": lambda: [world.program("redis-cli"), "-s", world.redis.address, "ping"],
        "bus": lambda: [world.program("busctl"), f"--address=unix:path={world.bus.address}", "call", "org.freedesktop.DBus",
                        "/org/freedesktop/DBus", "org.freedesktop.DBus.Peer", "Ping"],
    }


def one_shot(peer, world):
    words = _one_shots(world)
    times = measure.wall_times({name: words[name]() for name in ("tool", peer)})
    return times["tool"] / times[peer], f"{times['tool'] * 1e6:.0f} / {times[peer] * 1e6:.0f} us"


def one_shot_instructions(world):
    words = _one_shots(world)
    ours, least = (measure.instructions(words[name]()) for name in ("tool", "limit"))
    return ours / least, f"{ours} / {least}"


def one_shot_memory(world):
    measured = measure.figures([world.program("limit_peakmemory"), *world.tool, "coredump", "status"])
    return measured["peak_kib"] / 1024, ""


# Commands piped in

def _lines(world, name, line, count):
    file = pathlib.Path(world.path(f"{name}-{count}"))
    file.write_text(f"{line}\n" * count + "quit\n")
    return str(file)


def _pipes(world):
    return {
        "tool": lambda: (world.tool, _lines(world, "tool", "coredump status", COMMANDS)),
        "limit": lambda: ([world.program("limit_pingpong"), world.limit.address, str(COMMANDS)], "/dev/null"),
        "wpa": lambda: ([world.program("wpa_cli"), "-g", world.wpa.address], _lines(world, "wpa", "ping", COMMANDS)),
        "redis": lambda: ([world.program("redis-cli"), "-s", world.redis.address], _lines(world, "redis", "PING", COMMANDS)),
    }


def piped(peer, world):
    programs = _pipes(world)
    times = measure.piped_times({name: programs[name]() for name in ("tool", peer)})
    return times["tool"] / times[peer], f"{times['tool'] / COMMANDS * 1e6:.2f} / {times[peer] / COMMANDS * 1e6:.2f} us a command"


# Inside a process, and the daemon

def presence(world):
    """In a PID namespace of its own where that is allowed: few processes to begin with."""
    alone = ["unshare", "--user", "--map-root-user", "--pid", "--fork", "--mount-proc"]
    try:
        run([*alone, "true"])
    except RuntimeError:
        alone = []
    times = measure.inside([*alone, world.program("inside_presence"), "--benchmark_filter=^announced"])
    few, many = times["announcedService/50"], times["announcedService/1000"]
    return many / few, f"{many / 1000:.1f} / {few / 1000:.1f} us"


# Many clients in one process, which waits for its turn when the server wakes it: otherwise the scheduler guesses whether it goes
# first, and its guess, which differs from run to run, makes more of a difference than the server.
PATIENTLY = ["chrt", "--batch", "0"]


def _rate(world, kind, clients=50, requests=200_000, begin=()):
    """What load_requests measures."""
    server = world.manager if kind == "manager" else world.redis
    return measure.figures([*begin, world.program("load_requests"), kind, server.address, server.pid, str(clients), str(requests)])


def _benchmark_rate(world):
    words = [*PATIENTLY, world.program("redis-benchmark"), "-s", world.redis.address, "-c", "50", "-n", "200000", "-t", "ping_mbulk",
             "--csv"]
    return float(run(words).splitlines()[-1].split(",")[1].strip('"'))


def requests(peer_rate, world):
    ours, peer = measure.median_of(lambda: (_rate(world, "manager", begin=PATIENTLY)["requests_a_second"], peer_rate(world)))
    return ours / peer, f"{ours:.0f} / {peer:.0f} a second"


def fan_out(world):
    def cost(server):
        return measure.figures([world.program("load_watchers"), server.address, server.pid, "1000", "200"])["server_cpu_us"]

    world.require(world.service)  # the operating mode changes when the baseband is up
    ours, least = measure.median_of(lambda: (cost(world.manager), cost(world.limit)))
    return ours / least, f"{ours:.2f} / {least:.2f} us"


@functools.cache
def _settings(world):
    return measure.inside([world.program("inside_settings")], "real_time")


def durable_setting(world):
    times = _settings(world)
    ours, least = times["storeSetting/0"], times["writeAndSync"]
    return ours / least, f"{ours / 1000:.0f} / {least / 1000:.0f} us"


@functools.cache
def _recorder(world):
    return measure.inside([world.program("inside_recorder")], "real_time")


def recorded(world):
    times = _recorder(world)
    ours, least = times["appendRecord"], times["copyAndWrite"]
    return ours / least, f"{ours:.0f} / {least:.0f} ns"


def snapshot_growth(world):
    times = _recorder(world)
    much, little = (times[f"takeSnapshot/{megabytes}"] for megabytes in (1024, 1))
    return much / little, f"{much / 1000:.0f} / {little / 1000:.0f} us"


@functools.cache
def _recording(world, groups):
    """A manager that records what the baseband says by itself."""
    server = world.start_manager(world.path(f"recording-{groups}.sock"), world.path(f"recording-{groups}"))
    socket = {"CORVANE_SOCKET": server.address}
    run([*world.tool, "diag", "enabled", "true", "--", "diag", "secondary-dmc", groups, "--", "baseband", "state", "0"], socket)
    return server


def recording(groups, world):
    """The share of a processor that it takes."""
    server = _recording(world, groups)
    before, since = server.cpu_seconds(), time.monotonic()
    time.sleep(RECORDING_SECONDS)
    return 100 * (server.cpu_seconds() - before) / (time.monotonic() - since), ""


def answers_while_recording(world):
    """One client that asks again and again; many short turns, for what else the machine does."""
    def microseconds(server):
        return 1e6 / measure.figures([world.program("load_requests"), "manager", server.address, server.pid, "1", "5000"])["requests_a_second"]

    busy, idle = measure.median_of(lambda: (microseconds(_recording(world, "Tput")), microseconds(world.manager)), rounds=25)
    return busy / idle, f"{busy:.2f} / {idle:.2f} us"


# At rest

class Rest:
    """A daemon left alone from the start of the bench to its last row."""

    def __init__(self, world):
        self.server = world.start_manager(world.path("rest.sock"), world.path("rest"))
        time.sleep(1)  # what its start has begun ends
        self.since = time.monotonic()
        self.before = self.wake_ups()

    def wake_ups(self):
        return sum(int(value) for task in pathlib.Path(f"/proc/{self.server.pid}/task").iterdir()
                   for value in [_status(task, "voluntary_ctxt_switches")])


def _status(folder, field):
    lines = (folder / "status").read_text().splitlines()
    return next(line.split()[1] for line in lines if line.startswith(field + ":"))


@functools.cache
def rest(world):
    return Rest(world)


def rest_wake_ups(world):
    daemon = rest(world)
    time.sleep(max(0.0, daemon.since + REST_SECONDS - time.monotonic()))
    minutes = (time.monotonic() - daemon.since) / 60
    return (daemon.wake_ups() - daemon.before) / minutes, ""


def rest_memory(world):
    return int(_status(pathlib.Path(f"/proc/{rest(world).server.pid}"), "VmRSS")) / 1024, ""


# Growth

def growth_commands(world):
    """The cost of one more command, from 10 to 100,000 of them in one run."""
    costs = {}
    for count, rounds in ((10, 61), (1000, 21), (100_000, 3)):
        programs = {n: (world.tool, _lines(world, "tool", "coredump status", n)) for n in (0, count)}
        times = measure.piped_times(programs, rounds)
        costs[count] = (times[count] - times[0]) / count
    return costs[100_000] / costs[10], " / ".join(f"{cost * 1e6:.2f}" for cost in reversed(costs.values())) + " us at 100,000 / 1,000 / 10"


def growth_clients(world):
    """The daemon's processor time of a request."""
    def cost(clients):
        return _rate(world, "manager", clients, 100_000)["server_cpu_us"]

    one, fifty, thousand = measure.median_of(lambda: (cost(1), cost(50), cost(1000)))
    return thousand / one, f"{thousand:.2f} / {fifty:.2f} / {one:.2f} us at 1,000 / 50 / 1"


def growth_settings(operation, world):
    times = _settings(world)
    full, empty = times[f"{operation}Setting/2000"], times[f"{operation}Setting/0"]
    return full / empty, f"{full / 1000:.2f} / {empty / 1000:.2f} us"


def _row(name, what, function, *arguments, **reach):
    return Row(name, what, functools.partial(function, *arguments), **reach)


ROWS = [
    _row("oneshot-limit", "one-shot / minimal C client, wall time", one_shot, "limit", at_most=1.2),
    _row("oneshot-instructions", "the same, user-space instructions", one_shot_instructions, at_most=2.3),
    _row("oneshot-wpa", "one-shot / wpa_cli ping", one_shot, "wpa", at_most=0.8),
    _row("oneshot-redis", "one-shot / redis-cli ping", one_shot, "redis"),
    _row("oneshot-bus", "one-shot / busctl call of a Ping", one_shot, "bus"),
    _row("oneshot-memory", "peak memory of a one-shot", one_shot_memory, at_most=2, unit=" MB"),
    _row("piped-limit", "10,000 commands piped in / raw ping-pong", piped, "limit", at_most=1.6),
    _row("piped-redis", "the same / redis-cli", piped, "redis", at_most=0.85),
    _row("piped-wpa", "the same / wpa_cli", piped, "wpa", at_most=0.4),
    _row("presence", "presence check with 1,000 processes / with 50", presence, at_most=1.1),
    _row("requests", "requests a second from 50 clients / redis-benchmark PING", requests, _benchmark_rate, at_least=1),
    _row("requests-same-load", "the same, redis under the load that the daemon has", requests,
         lambda world: _rate(world, "redis", begin=PATIENTLY)["requests_a_second"]),
    _row("fan-out", "an event to 1,000 watchers, CPU a delivery / one send(2)", fan_out, at_most=3),
    _row("durable", "a durable setting / write and fdatasync of its bytes", durable_setting, at_most=2),
    _row("record", "a record of 200 bytes / copying and writing its bytes", recorded, at_most=1.5),
    _row("record-default", "DIAG on with Default: share of a processor", recording, "None", at_most=0.5, unit=" %"),
    _row("record-tput", "the same with Tput", recording, "Tput", at_most=2, unit=" %"),
    _row("record-answers", "an answer while Tput is recorded / with traces off", answers_while_recording, at_most=1.05),
    _row("growth-snapshot", "a snapshot with 1 GB recorded / with 1 MB", snapshot_growth, at_most=1.2),
    _row("growth-commands", "cost of a command, the 100,000th / the 10th", growth_commands, at_most=1.1),
    _row("growth-clients", "CPU of a request, 1,000 clients / one", growth_clients, at_most=1.1),
    _row("growth-store-put", "a durable setting, 2,000 others / none", growth_settings, "store", at_most=1.2),
    _row("growth-store-get", "reading a setting, 2,000 others / none", growth_settings, "get", at_most=1.5),
    _row("rest-wakeups", "daemon at rest: wake-ups in a minute", rest_wake_ups, at_most=0),
    _row("rest-memory", "daemon at rest: memory", rest_memory, at_most=8, unit=" MB"),
]
