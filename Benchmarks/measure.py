"""How things are measured. What is compared is measured in turns, and the medians are compared: what disturbs one disturbs all."""

import json
import re
import statistics
import subprocess
import tempfile
import time

from world import run


def wall_times(commands, rounds=5, runs=80):
    """Median seconds of whole processes, by name, with hyperfine. @param commands {name: words}"""
    times = {name: [] for name in commands}
    for _ in range(rounds):
        with tempfile.NamedTemporaryFile(suffix=".json") as results:
            options = ["--shell=none", "--style=none", f"--runs={runs}", "--warmup=5", "--export-json", results.name]
            run(["hyperfine", *options, *(" ".join(words) for words in commands.values())])
            measured = json.load(results)["results"]
        for name, result in zip(commands, measured):
            times[name] += result["times"]
    return {name: statistics.median(values) for name, values in times.items()}


def piped_times(programs, rounds=7):
    """Median seconds of whole processes, by name, that read a file on standard input. @param programs {name: (words, file)}"""
    times = {name: [] for name in programs}
    for _ in range(rounds):
        for name, (words, file) in programs.items():
            with open(file, "rb") as source:
                before = time.perf_counter()
                subprocess.run(words, stdin=source, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
                times[name].append(time.perf_counter() - before)
    return {name: statistics.median(values) for name, values in times.items()}


def instructions(words):
    """Instructions in user space of one run, with callgrind."""
    done = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *words],
                          stdin=subprocess.DEVNULL, capture_output=True, text=True, check=True)
    return int(re.search(r"Collected : (\d+)", done.stderr).group(1))


def inside(words, time_kind="cpu_time"):
    """Median nanoseconds of the rows of a Google Benchmark program, by name and argument: its options at the end of a name are left out."""
    options = ["--benchmark_format=json", "--benchmark_repetitions=7", "--benchmark_enable_random_interleaving=true",
               "--benchmark_min_time=0.1", "--benchmark_report_aggregates_only=true"]
    rows = json.loads(run([*words, *options]))["benchmarks"]
    return {re.sub(r"/(iterations:|real_time).*", "", row["run_name"]): row[time_kind] for row in rows if row.get("aggregate_name") == "median"}


def median_of(measurement, rounds=3):
    """Medians, place by place, of what `measurement` gives, a tuple of numbers."""
    return tuple(statistics.median(place) for place in zip(*(measurement() for _ in range(rounds))))


def figures(words):
    """What a program of ours prints: a JSON object."""
    return json.loads(run(words))
