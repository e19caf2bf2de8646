"""Measures and prints one table. Called by script/bench, which builds what is measured."""

import argparse
import signal
import sys
import time

import rows
from world import NotInstalled, World


def parse(words):
    names = [row.name for row in rows.ROWS]
    parser = argparse.ArgumentParser(prog="script/bench", description="Measures the release build against its limits and peers.")
    parser.add_argument("--build", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--list", action="store_true", help="name the rows and end")
    parser.add_argument("rows", nargs="*", metavar="ROW", help="only these rows; default: all")
    options = parser.parse_args(words)
    unknown = [name for name in options.rows if name not in names]
    if unknown:
        parser.error(f"no row {unknown[0]!r}; there are: {', '.join(names)}")
    return options


def print_row(row, value, verdict, source):
    figure = "-" if value is None else f"{value:.2f}{row.unit}"
    print(f"{row.name:21}{row.what:58}{row.reach:14}{figure:>9}  {verdict:4}  {source}", flush=True)


def measure(row, world):
    """@return whether the figure is within its reach, or there is none."""
    try:
        value, source = row.figure(world)
    except NotInstalled as peer:
        print_row(row, None, "", f"{peer} is not installed; script/bootstrap --peers installs it")
        return True
    met = row.is_met(value)
    print_row(row, value, "" if not row.reach else "ok" if met else "NOT", source)
    return met


def main(words):
    options = parse(words)
    chosen = [row for row in rows.ROWS if not options.rows or row.name in options.rows]
    if options.list:
        for row in chosen:
            print(f"{row.name:21}{row.what:58}{row.reach}")
        return 0
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # through the end of the world: nothing is left running
    start = time.monotonic()
    with World(options.build) as world:
        if any(row.name.startswith("rest-") for row in chosen):
            rows.rest(world)
        print(f"{'row':21}{'what':58}{'reach':14}{'figure':>9}  {'':4}  measured")
        missed = [row.name for row in chosen if not measure(row, world)]
    print(f"{time.monotonic() - start:.0f} s on processor {world.processor}; " + (f"not met: {', '.join(missed)}" if missed else "all met"))
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
