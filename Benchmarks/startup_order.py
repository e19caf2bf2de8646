"""Prints the functions that a one-shot run passes through, for the linker to put side by side.

usage: python3 Benchmarks/startup_order.py --build build/bench > Manager/RYNTool/startup-order.txt
To be run again when page faults of a one-shot have grown; a function that is missing or gone costs a page, nothing else.
"""

import argparse
import re
import subprocess
import sys

from world import World, run

# valgrind shows the C library one processor; others run a sibling of the same function.
SIBLINGS = ("sse2", "avx", "avx2", "evex", "avx512")


def executed(world, words):
    """Mangled names, in the order of their first call."""
    profile = world.path("profile")
    subprocess.run(["valgrind", "--tool=callgrind", "--demangle=no", f"--callgrind-out-file={profile}", *words],
                   stdin=subprocess.DEVNULL, capture_output=True, check=True)
    with open(profile, encoding="utf-8") as lines:
        names = (re.match(r"c?fn=\(\d+\) ([^']+)", line) for line in lines)
        return list(dict.fromkeys(name.group(1).strip() for name in names if name))


def siblings(name):
    kind = re.search(r"_(avx2?)(?=_|$)", name)
    return [name[:kind.start(1)] + other + name[kind.end(1):] for other in SIBLINGS] if kind else [name]


def resolvers(tool):
    """What picks a sibling at the start."""
    return [line.split()[2] for line in run(["nm", tool]).splitlines() if line.endswith("_ifunc")]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", required=True)
    with World(parser.parse_args().build) as world:
        names = ["_start", *resolvers(world.program("ryntool"))]
        for name in executed(world, [*world.tool, "coredump", "status"]):
            names += siblings(name)
    print("\n".join(dict.fromkeys(name for name in names if not name.startswith("0x") and " " not in name)))


if __name__ == "__main__":
    sys.exit(main())
