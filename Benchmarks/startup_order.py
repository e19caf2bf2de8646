"""Prints what a one-shot run of the tool passes through, functions and data, for the linker to put side by side.

usage: python3 Benchmarks/startup_order.py --build build/bench > cmake/startup-order.txt
To be run again when page faults of a one-shot have grown; what is missing or gone costs a page, nothing else.
"""

import argparse
import bisect
import re
import subprocess
import sys

from world import World, run

# valgrind shows the C library one processor; others run a sibling of the same function. Newest first.
SIBLINGS = ("evex", "avx512", "avx2", "avx", "sse2")
KIND = re.compile(rf"_({'|'.join(SIBLINGS)})(?=_|$)")
# valgrind hides the vDSO, so the C library does not look into it, and what comes before main has no size.
HIDDEN = ("frame_dummy", "_dl_new_object", "_dl_setup_hash", "_dl_add_to_namespace_list", "_dl_lookup_symbol_x", "do_lookup_x", "check_match",
          "__strcmp_avx2")
ACCESS = re.compile(r"(?:I | [LSM]) ([0-9a-f]+),")


class Symbols:
    """A program's symbols by address. Static programs are where their symbols say."""

    def __init__(self, program):
        rows = [line.split() for line in run(["nm", "-S", program]).splitlines()]
        self._rows = sorted((int(row[0], 16), int(row[1], 16), row[3]) for row in rows if len(row) == 4)
        self._starts = [row[0] for row in self._rows]
        self._names = {row[-1] for row in rows}

    def at(self, address):
        row = bisect.bisect_right(self._starts, address) - 1
        if row >= 0 and address < self._rows[row][0] + self._rows[row][1]:
            return self._rows[row][2]
        return None

    def has(self, name):
        return name in self._names

    def resolvers(self):
        """What picks a sibling at the start."""
        return [name for _, _, name in self._rows if name.endswith("_ifunc")]


def touched(world, words, symbols):
    """Mangled names, in the order of the first touch."""
    trace = world.path("trace")
    subprocess.run(["valgrind", "--tool=lackey", "--trace-mem=yes", f"--log-file={trace}", *words],
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
    with open(trace, encoding="utf-8") as lines:
        accesses = (ACCESS.match(line) for line in lines)
        names = (symbols.at(int(access.group(1), 16)) for access in accesses if access)
        return list(dict.fromkeys(name for name in names if name))


def siblings(names):
    return [KIND.sub(f"_{kind}", name, count=1) for kind in SIBLINGS for name in names]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", required=True)
    with World(parser.parse_args().build) as world:
        symbols = Symbols(world.program("ryntool"))
        names = [*touched(world, [*world.tool, "coredump", "status"], symbols), *HIDDEN]
    of_one_kind = [name for name in names if KIND.search(name)]
    ordered = ["_start", *(name for name in names if name not in of_one_kind), *symbols.resolvers()]
    print("\n".join(filter(symbols.has, dict.fromkeys([*ordered, *siblings(of_one_kind)]))))


if __name__ == "__main__":
    sys.exit(main())
