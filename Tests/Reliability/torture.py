"""Breaks what can be broken from outside, again and again, and prints what it showed.

usage: torture.py BUILD [--short] [--seed NUMBER] [NAME...]      by way of script/torture
"""
import argparse
import os
import pathlib
import random
import re
import resource
import signal
import subprocess
import sys
import time

PROGRAMS = {  # by name: the promise, and the module of the function of that name
    "kill": ("A killed manager loses no acknowledged setting, and its tools go on", "kills"),
    "clients": ("A hostile client costs its own connection and nothing else", "hostile_clients"),
    "memory": ("A manager that has no memory left ends connections, never itself", "pressure"),
    "manager": ("A hostile manager can't crash or hang a tool", "hostile_manager"),
    "disk": ("A full or read-only disk is said in one sentence and loses nothing", "disks"),
    "journal": ("A journal that stands still costs lines, which are counted, and keeps nobody waiting", "disks"),
    "state": ("Damage to the settings' file is found, said and set aside, and the manager serves", "disks"),
    "slow": ("Writers on a slow disk share its syncs, and keep nobody else waiting", "pressure"),
    "erase": ("An erasure is whole or has not happened, whenever the manager is killed", "kills"),
    "recording": ("What was recorded can be read after any kill, and a reader that doesn't read costs little", "kills"),
    "load": ("64 clients at once are served without a data race or a wrong access", "pressure"),
}
KEPT, SKIPPED = 0, 77  # exit statuses of a program


class Skipped(Exception):
    """A promise can't be tried here; not a failure."""


class Run:
    """One run of a program."""

    def __init__(self, options):
        self.build, self.is_short = options.build, options.short
        self.is_sanitized = options.build.name in ("asan", "tsan")
        self.random = random.Random(options.seed)

    def times(self, short, full):
        """How often something is done."""
        return short if self.is_short else full

    def figure(self, line):
        """What the run has shown, for the person who reads it."""
        print("  " + line, flush=True)

    def describe(self, durations):
        ordered = sorted(1000 * duration for duration in durations)
        median, most = ordered[len(ordered) // 2], ordered[(len(ordered) - 1) * 99 // 100]
        return f"median {median:.2f} ms, 99 % {most:.2f} ms, longest {ordered[-1]:.2f} ms"


def allow_descriptors(count):
    try:
        resource.setrlimit(resource.RLIMIT_NOFILE, (count, count))
    except (ValueError, OSError) as error:
        raise Skipped(f"this user may not open {count} descriptors") from error


def is_clean(who, status, said, *right):
    """A program has ended in a right way, and no sanitizer has reported."""
    assert status in right, f"{who} ended with {status}: {said}"
    assert not re.search("Sanitizer|runtime error:|terminate called", said), f"{who} reported: {said}"


class Waits:
    """What a client meets at a manager, in seconds: each wait as it was, the same without the time for which the machine, busy
    with other work, let one of the two stand in the queue for a processor, and what the manager worked meanwhile, which is what
    it did before it answered. The first are figures, the others can be held against a bar."""

    def __init__(self, manager):
        self.schedules = [pathlib.Path(f"/proc/{process}/schedstat") for process in (manager, "thread-self")]
        self.waits, self.of_manager, self.work = [], [], []

    def schedule(self):
        """How long the manager has run, and how long both could have run and had no processor."""
        (worked, queued, _), (_, own, _) = (map(int, path.read_text().split()) for path in self.schedules)
        return worked / 1e9, (queued + own) / 1e9

    def measure(self, ask):
        worked, queued = self.schedule()
        begin = time.monotonic()
        answer = ask()
        wait = time.monotonic() - begin
        worked_then, queued_then = self.schedule()
        self.waits.append(wait)
        self.of_manager.append(wait - (queued_then - queued))
        # It goes on working while the one that asked stands in the queue with its answer.
        self.work.append(min(worked_then - worked, max(self.of_manager[-1], 0)))
        return answer


def give_up(*_):
    raise TimeoutError("it isn't done in its time")


def run_here(name, options):
    signal.signal(signal.SIGALRM, give_up)
    signal.alarm(300 if options.short else 3600)
    try:
        getattr(__import__(PROGRAMS[name][1]), name)(Run(options))
        return KEPT
    except Skipped as skipped:
        print(f"  skipped: {skipped}")
        return SKIPPED
    except Exception as broken:
        print(f"  BROKEN: {broken}")
        return 1


def run(name, options):
    """In a process of its own, which may change what belongs to a process: its mounts, its limits, its name."""
    words = ["--seed", str(options.seed), *(["--short"] if options.short else []), name]
    own_mounts = ["unshare", "--mount", *([] if os.geteuid() == 0 else ["--map-root-user"])] if name in ("disk", "journal") else []
    if own_mounts and subprocess.run([*own_mounts, "true"], stderr=subprocess.DEVNULL).returncode != 0:
        own_mounts = []
    return subprocess.run([*own_mounts, sys.executable, "-B", __file__, options.build, "--here", *words]).returncode


def keeps(name, options):
    begin = time.monotonic()
    print(f"{name}: {PROGRAMS[name][0]}", flush=True)
    status = run(name, options)
    print(f"  {({KEPT: 'kept', SKIPPED: 'not tried'}).get(status, 'BROKEN')} in {time.monotonic() - begin:.0f} s", flush=True)
    return status in (KEPT, SKIPPED)


def main():
    parser = argparse.ArgumentParser(prog="torture", usage="torture BUILD [--short] [--seed NUMBER] [NAME...]")
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("names", nargs="*", choices=[[], *PROGRAMS])
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--here", action="store_true")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32))
    options = parser.parse_intermixed_args()
    for name, path in {"RYNTOOL": "Manager/RYNTool/ryntool", "CORVANE": "Manager/Corvane/Corvane",
                       "PELLCORE": "Cellular/Pellcore/Pellcore"}.items():
        os.environ[name + "_PATH"] = str(options.build / path)
    os.environ["PYTHONPATH"] = str(pathlib.Path(__file__).parent.parent / "support")
    if options.here:
        sys.exit(run_here(options.names[0], options))
    print(f"seed {options.seed}{', short form' if options.short else ''}", flush=True)
    sys.exit(not all([keeps(name, options) for name in PROGRAMS if not options.names or name in options.names]))


if __name__ == "__main__":
    __import__("torture").main()  # the module that the programs import too
