"""The cellular service as a process, with managers that answer as told."""
import re
import signal

import pytest

from programs import SERVICE, Program, ScriptedManager, hold, run

ASK = "GetBasebandBootStateCommand", None
BRING_ONLINE = "SetBasebandOperatingModeCommand", {"KeyBasebandOperatingMode": 0}
BOOT, MODE = "BasebandBootStateChangeNotification", "BasebandOperatingModeChangeNotification"


def state(text, **more):
    return {"KeyBasebandBootState": text} | more


@pytest.fixture
def service(tmp_path):
    return Program(SERVICE, CORVANE_SOCKET=str(tmp_path / "s"), XDG_RUNTIME_DIR=str(tmp_path))


def test_it_brings_the_baseband_online_whenever_that_gets_ready(service, tmp_path):
    service.says("is Corvane running?\n")
    manager = ScriptedManager(tmp_path / "s", (0, state("Booting")))
    service.says("boot state is Booting")
    manager.broadcast(BOOT, state("Ready"))
    service.says("Pellcore: brought the baseband online\n")
    # What somebody does with the mode then is left alone; so is a state that was known.
    for name, payload in [(MODE, {"KeyBasebandOperatingMode": 1}), (BOOT, state("Ready")), (BOOT, state("Resetting")),
                          (BOOT, state("Ready"))]:
        manager.broadcast(name, payload)
    manager.got(BRING_ONLINE[0], 2)
    assert manager.requests == [ASK, BRING_ONLINE, BRING_ONLINE]
    manager.close()
    manager.drop_all()
    again = ScriptedManager(tmp_path / "s", (0, state("Ready")))
    again.got(BRING_ONLINE[0])
    assert again.requests == [ASK, BRING_ONLINE] and "events True" in again.packets


def test_it_leaves_a_mode_alone_that_somebody_has_asked_for(service, tmp_path):
    manager = ScriptedManager(tmp_path / "s", (0, state("Ready", KeyBasebandOperatingMode=3)))
    service.says("it is left as it is\n")
    assert manager.requests == [ASK]


def test_it_says_why_the_baseband_stays_offline(service, tmp_path):
    service.says("is Corvane running?\n")
    refused, unexplained = (-534716160, {"KeyErrorString": "not\nnow"}), (7,)
    manager = ScriptedManager(tmp_path / "s", unexplained, unexplained, (0,), (0, state("Ready")), refused, refused, unexplained)
    for count in 1, 2, 3:
        manager.got(ASK[0], count)
        manager.drop_all()
    for why, count in ("not?now", 1), ("not?now", 2), ("the manager refused and did not say why", 1):
        service.says(f"can't bring the baseband online: {why}\n", count)
        manager.broadcast(BOOT, state("Resetting"))
        manager.broadcast(BOOT, state("Ready"))
    service.says("brought the baseband online\n")
    shown = service.text.replace(str(tmp_path), "")
    hold("pellcore.txt", shown)


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_it_is_announced_until_a_signal_ends_it(service, tmp_path, number):
    service.says("is Corvane running?")
    announcement = tmp_path / "corvane/Pellcore.pid"
    assert announcement.read_text() == f"{service.child.pid}\n"
    with open(f"/proc/{service.child.pid}/comm") as name:
        assert name.read() == "Pellcore\n"
    assert service.end(number) == 0
    assert service.text.endswith(f"\nPellcore: ended by {signal.strsignal(number)}\n") and not announcement.exists()


def test_its_options_are_few():
    for word, shown in ("--help", r"Usage: Pellcore [^\0]*"), ("--version", r"Pellcore [\d.]+\n"):
        status, output, errors = run(SERVICE, word)
        assert (status, errors) == (0, "") and re.fullmatch(shown, output)
    for words in ["--help", "x"], ["x"]:
        assert run(SERVICE, *words) == (2, "", "Pellcore: unexpected 'x'; it takes --help, --version or nothing\n")
