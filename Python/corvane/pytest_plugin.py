"""For pytest: a manager with a simulated baseband for each test that asks for one.

    def test_reset(corvane):
        corvane.client.perform(commands.reset("soft", "lab"))

    @pytest.mark.corvane("--fault", "ResetBasebandCommand=hang")
    def test_hanging_reset(corvane): ...

    @pytest.mark.corvane(scenario={"steps": [{"at": 0, "action": "fail-boot"}]})
    def test_boot_that_fails(corvane): ...

The fixture `corvane` is a `RunningManager`: started before the test in a folder of its own, ended after it. The mark's words are
options of Corvane(8), its `scenario` what corvane-scenario(5) has in a file. CORVANE names the program where it isn't installed.
"""

from __future__ import annotations

import ctypes
import json
import os
import shutil
import signal
import socket
import subprocess
from functools import cached_property
from pathlib import Path
from typing import Iterator, NoReturn, Sequence

import pytest

from .client import Client

_PATIENCE = 10.0


def _program() -> str:
    found = os.environ.get("CORVANE") or shutil.which("Corvane", path=f"{os.environ.get('PATH', '')}:/usr/local/sbin:/usr/sbin")
    if not found:
        pytest.fail("Corvane isn't installed; the environment variable CORVANE can name the program.")
    return found


def _end_with_parent() -> None:
    """A test run that is killed leaves no manager behind."""
    set_death_signal = 1
    ctypes.CDLL(None).prctl(set_death_signal, signal.SIGKILL)


class RunningManager:
    """A manager of a test's own."""

    def __init__(self, folder: Path, options: Sequence[str] = ()) -> None:
        self.socket = str(folder / "manager.sock")
        self.state = folder / "state"
        self.log = folder / "Corvane.log"
        self._folder = folder
        self._options = options
        self._process: subprocess.Popen[bytes] | None = None

    def start(self) -> None:
        """Returns when the manager is ready; fails the test with the end of its log when it doesn't start."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as ready, self.log.open("ab") as log:
            notify = str(self._folder / "notify")
            Path(notify).unlink(missing_ok=True)
            ready.bind(notify)
            ready.settimeout(_PATIENCE)
            self._process = subprocess.Popen(
                [_program(), "--socket", self.socket, "--state", str(self.state), *self._options],
                env={**os.environ, "NOTIFY_SOCKET": notify, "XDG_CONFIG_HOME": str(self._folder / "config")},
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
                preexec_fn=_end_with_parent,
            )
            self._wait_until_ready(ready)

    def _wait_until_ready(self, ready: socket.socket) -> None:
        assert self._process is not None
        ready.settimeout(0.05)
        for _ in range(int(_PATIENCE / 0.05)):
            try:
                if b"READY=1" in ready.recv(4096):
                    return
            except TimeoutError:
                if self._process.poll() is not None:
                    break
        process, self._process = self._process, None
        process.kill()
        process.wait()
        self._fail("The manager did not start")

    def stop(self) -> None:
        """Fails the test, with the end of the log, when the manager had ended by itself or doesn't end when it is told to."""
        if self._process is None:
            return
        process, self._process = self._process, None
        process.terminate()
        try:
            if status := process.wait(_PATIENCE):
                self._fail(f"The manager ended with {status}")
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            self._fail(f"The manager did not end within {_PATIENCE:g} s")

    def _fail(self, what: str) -> NoReturn:
        pytest.fail(f"{what}: {self.log.read_text(errors='replace')[-500:]}")

    def restart(self) -> None:
        """With the same state folder."""
        self.stop()
        self.start()

    @cached_property
    def client(self) -> Client:
        """A client of the test's own, closed after it."""
        return Client(self.socket, name="pytest")


@pytest.fixture
def corvane(request: pytest.FixtureRequest, tmp_path_factory: pytest.TempPathFactory) -> Iterator[RunningManager]:
    """A manager with a simulated baseband, ready."""
    mark = request.node.get_closest_marker("corvane")
    folder = tmp_path_factory.mktemp("corvane")
    options = list(mark.args) if mark else []
    if mark and "scenario" in mark.kwargs:
        scenario = folder / "scenario.json"
        scenario.write_text(json.dumps(mark.kwargs["scenario"]))
        options += ["--scenario", str(scenario)]
    manager = RunningManager(folder, options)
    manager.start()
    yield manager
    if "client" in vars(manager):
        manager.client.close()
    manager.stop()


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "corvane(*options, scenario={}): options of the manager that the fixture `corvane` starts")
