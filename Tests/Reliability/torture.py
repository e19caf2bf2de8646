"""Breaks what can be broken from outside, again and again, and prints what it showed.

usage: torture.py BUILD [--short] [--seed NUMBER] [NAME...]      by way of script/torture
"""
import argparse
import os
import pathlib
import random
import subprocess
import sys
import time

PROGRAMS = {  # by name: the promise, and the module of the function of that name; None: a program in C++ of `torture`
    "kill": ("A killed manager loses no acknowledged setting, and its tools go on", "kills"),
    "clients": ("A hostile client costs its own connection and nothing else", None),
    "memory": ("A manager that has no memory left ends connections, never itself", None),
    "manager": ("A hostile manager can't crash or hang a tool", None),
    "disk": ("A full or read-only disk is said in one sentence and loses nothing", "disks"),
    "state": ("Damage to the settings' file is found, said and set aside, and the manager serves", "disks"),
    "slow": ("Writers on a slow disk share its syncs, and keep nobody else waiting", None),
    "erase": ("An erasure is whole or has not happened, whenever the manager is killed", "kills"),
    "recording": ("What was recorded can be read after any kill, and a reader that doesn't read costs little", "kills"),
    "load": ("64 clients at once are served without a data race or a wrong access", None),
}
KEPT, SKIPPED = 0, 77  # exit statuses of a program


class Skipped(Exception):
    """A promise can't be tried here; not a failure."""


class Run:
    """One run of a program."""

    def __init__(self, options):
        self.is_short = options.short
        self.is_sanitized = options.build.name in ("asan", "tsan")
        self.random = random.Random(options.seed)

    def times(self, short, full):
        """How often something is done."""
        return short if self.is_short else full

    def figure(self, line):
        """What the run has shown, for the person who reads it."""
        print("  " + line, flush=True)


def run_here(name, options):
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
    if PROGRAMS[name][1] is None:
        return subprocess.run([options.build / "Tests/Reliability/torture", *words]).returncode
    own_mounts = ["unshare", "--mount", *([] if os.geteuid() == 0 else ["--map-root-user"])] if name == "disk" else []
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
        from programs import become_pellcore
        become_pellcore()
        sys.exit(run_here(options.names[0], options))
    print(f"seed {options.seed}{', short form' if options.short else ''}", flush=True)
    sys.exit(not all([keeps(name, options) for name in PROGRAMS if not options.names or name in options.names]))


if __name__ == "__main__":
    __import__("torture").main()  # the module that the programs import too
