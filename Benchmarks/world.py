"""What a bench runs against: private servers in a temporary folder, started when first asked for, ended by their process id."""

import dataclasses
import functools
import os
import pathlib
import resource
import shutil
import socket
import subprocess
import tempfile
import time

PATIENCE = 20.0  # seconds that a server may take to start


class NotInstalled(Exception):
    """A peer is missing: its rows are left out."""


class World:
    """Everything runs on one processor: wake-ups across processors are noise on virtual machines."""

    def __init__(self, build):
        self.build = pathlib.Path(build).resolve()
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ryn-bench."))
        self._running = []
        self.processor = max(os.sched_getaffinity(0))
        os.sched_setaffinity(0, {self.processor})
        _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
        os.environ["XDG_RUNTIME_DIR"] = str(self.folder)
        os.environ["CORVANE_SOCKET"] = self.path("corvane/manager.sock")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for server in reversed(self._running):
            server.process.terminate()
            server.process.wait()
        shutil.rmtree(self.folder)

    def path(self, name):
        return str(self.folder / name)

    def program(self, name):
        """A program of ours, or a peer's."""
        places = {"ryntool": "Manager/RYNTool", "Corvane": "Manager/Corvane", "Pellcore": "Cellular/Pellcore"}
        if name in places or name.startswith(("limit_", "load_", "inside_")):
            return self._installed(self.build / places.get(name, "Benchmarks") / name)
        found = shutil.which(name) or shutil.which(name, path="/usr/sbin:/sbin")
        if not found:
            raise NotInstalled(name)
        return found

    def _installed(self, built):
        """A copy, written as an installation writes: how a linker did it shows in how fast the kernel maps the file, and passes
        through a copy made inside the kernel."""
        copy = self.folder / built.name
        if not copy.exists():
            copy.write_bytes(built.read_bytes())
            copy.chmod(0o755)
        return str(copy)

    @functools.cached_property
    def tool(self):
        """The tool as a list of words, with a manager and a cellular service for it to find."""
        self.require(self.manager)
        self.require(self.service)
        return [self.program("ryntool")]

    def require(self, server):
        """Fails when a server has ended since it was started."""
        if not server.is_running():
            raise RuntimeError(f"{server.process.args[0]} has ended")

    @functools.cached_property
    def manager(self):
        return self.start_manager(os.environ["CORVANE_SOCKET"], self.path("state"))

    def start_manager(self, address, state):
        return self._start([self.program("Corvane"), "--socket", address, "--state", state], address)

    @functools.cached_property
    def service(self):
        """The cellular service, when it has brought the manager's baseband online."""
        manager = self.manager
        service = self._start([self.program("Pellcore")], self.path("corvane/Pellcore.pid"), os.path.exists)
        self._wait(manager, lambda: "Ready" in run([self.program("ryntool"), "baseband", "state"]))
        return service

    @functools.cached_property
    def limit(self):
        return self._start([self.program("limit_server"), self.path("limit.sock")], self.path("limit.sock"))

    @functools.cached_property
    def redis(self):
        address = self.path("redis.sock")
        words = [self.program("redis-server"), "--port", "0", "--unixsocket", address, "--save", "", "--dir", self.path("")]
        return self._start(words, address)

    @functools.cached_property
    def wpa(self):
        """A wpa_supplicant without an interface."""
        address = self.path("wpa.sock")
        return self._start([self.program("wpa_supplicant"), "-g", address], address, os.path.exists)

    @functools.cached_property
    def bus(self):
        address = self.path("bus.sock")
        words = [self.program("dbus-daemon"), "--session", "--nofork", "--nopidfile", f"--address=unix:path={address}"]
        return self._start(words, address)

    def _start(self, words, address, is_ready=None):
        with open(self.path("log"), "ab") as log:
            server = Server(subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=log, stderr=log), address)
        self._running.append(server)
        self._wait(server, lambda: (is_ready or accepts)(address))
        return server

    def _wait(self, server, is_ready):
        end = time.monotonic() + PATIENCE
        while not is_ready():
            if not server.is_running() or time.monotonic() > end:
                log = pathlib.Path(self.path("log")).read_text(errors="replace")
                raise RuntimeError(f"{server.process.args[0]} did not start:\n{log[-2000:]}")
            time.sleep(0.02)


@dataclasses.dataclass(frozen=True)
class Server:
    process: subprocess.Popen
    address: str  # of its socket, or of the file that says that it is ready

    @property
    def pid(self):
        return str(self.process.pid)

    def is_running(self):
        return self.process.poll() is None

    def cpu_seconds(self):
        """Of the processor, in user and in kernel mode, exact: /proc counts in hundredths of a second."""
        return time.clock_gettime(~self.process.pid << 3 | 2)  # CPUCLOCK_SCHED of a process: clock_getcpuclockid(3)


def run(words, environment=None):
    """What a program prints; it must succeed."""
    done = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
                          env=os.environ | (environment or {}))
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(words)} ended with {done.returncode}:\n{done.stdout[-1000:]}{done.stderr[-1000:]}")
    return done.stdout


def accepts(address):
    for kind in (socket.SOCK_SEQPACKET, socket.SOCK_STREAM):
        with socket.socket(socket.AF_UNIX, kind) as client:
            if client.connect_ex(address) == 0:
                return True
    return False
