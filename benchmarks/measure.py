#!/usr/bin/env python3
"""Runs the benchmarks of a build, prints each figure beside its reference and its bound, and writes
all of them to a file. Ends with 1 when a bound is not kept."""

import argparse
import json
import os
import platform
import re
import subprocess
import sys
import tempfile
from dataclasses import asdict, dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent

# How many times the first reference, and how much more, the add-in may take. What each bound stands
# for is told in docs/performance.md. Of several that fit a figure, the first one holds.
BOUNDS = [
    ("handle, .*: instructions", 1, 2),
    ("load and unload: instructions", 6, 0),
    ("run, .*: instructions", 2, 0),
    (".*: instructions", 1.5, 0),
    ("run, .*: system calls", 1, 0),
    (".*: system calls", 1, 1),
    (".*: bytes of heap", 1.5, 0),
    ("library: .*", 2, 0),
]
# Counting is on while one of these functions runs, and off while one that it calls is among them.
COUNTED = ["*Operations::*", "*HandleOf<*", "*CountedObject<*", "loadAndUnload*", "run", "stop",
           "*Handler::notify*"]
ADDIN = "the add-in"
BY_HAND = "by hand"
LONG_FILE = "run, info file of 1 MB"

# What both add-ins are put through; the traces of the host must be the same.
SCENARIO = 5 * """offline
start
click
online
click
message "https://learning.velorin.example/lessons/first sketch"
stop
start
message "https://learning.velorin.example/lessons/first-part"
hide
click
stop
""" + 'expect /infoLines/1 "10"\n'


@dataclass
class Row:
    what: str  # the call, a colon and the figure
    ours: float
    references: dict  # by their names; the first one is judged by
    bound: str = ""
    missed: bool = False

    def __post_init__(self):
        if self.ours == 0 and not self.what.endswith("system calls"):
            raise RuntimeError(f"nothing was counted of: {self.what}")
        for what, times, more in BOUNDS if self.references else ():
            if re.fullmatch(what, self.what):
                multiple = "as many" if times == 1 else f"{times} times"
                self.bound = f"{more} more" if more else multiple
                self.missed = self.ours > times * self.reference() + more
                break

    def reference(self):
        return next(iter(self.references.values()), 0)

    def text(self, value):
        return f"{value / 1000:,.1f} µs" if self.what.endswith("time") else f"{value:,}"

    def cells(self):
        return [self.what, self.text(self.ours),
                ", ".join(f"{self.text(value)} {name}" for name, value in self.references.items()),
                f"{self.ours / self.reference():.2f}" if self.reference() else "",
                self.bound + (" – MISSED" if self.missed else "")]


class Bench:
    def __init__(self, build, folder):
        self.build = build
        self.folder = folder  # where the programs run and write
        self.libraries = {ADDIN: build / "Velorin.so", BY_HAND: build / "ByHand.so"}
        self.values = {}  # by what was measured, then by who does it

    def run(self, *command, failure="", **more):
        # A count is to depend on the call alone. The environment is searched for the time zone.
        # Short lists of free blocks make an allocation cost more or less by what was done before.
        environment = {"PATH": os.environ["PATH"], "TZ": "UTC0",
                       "GLIBC_TUNABLES": "glibc.malloc.tcache_count=100"}
        result = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                                check=False, cwd=self.folder, env=environment, **more)
        if result.returncode != 0:
            said = (result.stderr or result.stdout).strip().splitlines()
            raise RuntimeError("\n".join([failure or f"{command[0]} failed:", *said[-3:]]))
        return result.stdout

    def note(self, call, figure, value):
        what, who = call.split("|")
        self.values.setdefault(f"{what}: {figure}", {})[who] = value

    def rows(self):
        """All that was measured, the figures of a call together."""
        calls = [what.split(":")[0] for what in self.values]
        in_order = sorted(self.values, key=lambda what: calls.index(what.split(":")[0]))
        return [Row(what, self.values[what].pop(ADDIN), self.values[what]) for what in in_order]

    def check_reference(self):
        """Holds the add-in by hand to what the add-in does."""
        for who, option in ((ADDIN, "--trace"), (BY_HAND, "--expect-trace")):
            self.run(self.build / "substitute-host", "--addin", self.libraries[who],
                     option, "trace", "-", input=SCENARIO,
                     failure=f"What is compared does not do the same, here {who}:")

    def counts(self):
        """The instructions and system calls of each call."""
        self.run("valgrind", "-q", "--tool=callgrind", "--callgrind-out-file=counts",
                 "--collect-systime=yes", "--collect-atstart=no",
                 *(f"--toggle-collect={function}" for function in COUNTED),
                 self.build / "benchmark-calls")
        for part in sorted(self.folder.glob("counts.*"), key=lambda path: int(path.suffix[1:])):
            text = part.read_text("utf-8", "replace")
            call = re.search("^desc: Trigger: Client Request: (.*)", text, re.MULTILINE)[1]
            sums = re.search("^summary: (.*)", text, re.MULTILINE)[1].split()
            self.note(call, "instructions", int(sums[0]))
            if not call.startswith("handle"):
                self.note(call, "system calls", int(sums[1]) if len(sums) > 1 else 0)

    def heap(self):
        """What a start with a long info file holds when the heap is fullest."""
        for who in self.libraries:
            call = f"{LONG_FILE}|{who}"
            self.run("valgrind", "-q", "--tool=dhat", "--dhat-out-file=heap", "--keep-debuginfo=yes",
                     "--num-callers=50", self.build / "benchmark-calls",
                     f"--benchmark_filter={LONG_FILE}.{who}")
            heap = json.loads((self.folder / "heap").read_text("utf-8"))
            run = {index for index, frame in enumerate(heap["ftbl"]) if ": run (" in frame}
            self.note(call, "bytes of heap", sum(point["gb"] for point in heap["pps"]
                                                 if run.intersection(point["fs"])))

    def library(self):
        for who, file in self.libraries.items():
            self.run("strip", "-o", "stripped", file)
            call = f"library|{who}"
            self.note(call, "relocations", self.run("readelf", "-rW", file).count(" R_"))
            self.note(call, "imported names", self.run("nm", "-Du", file).count("\n"))
            self.note(call, "bytes on Linux", (self.folder / "stripped").stat().st_size)
        for_macos = ROOT / "build/macos/Velorin.dylib"
        if for_macos.exists():
            self.note(f"library|{ADDIN}", "bytes on macOS", for_macos.stat().st_size)

    def times(self):
        """Medians of several runs, in nanoseconds."""
        self.run(self.build / "benchmark-calls", "--benchmark_filter=-handle",
                 "--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=15",
                 "--benchmark_out=times", "--benchmark_out_format=json")
        for entry in json.loads((self.folder / "times").read_text("utf-8"))["benchmarks"]:
            if entry.get("aggregate_name") == "median":
                self.note(entry["run_name"].split("/")[0], "time", round(entry["real_time"]))


def table(rows):
    """The rows as a table of Markdown that reads well as it stands."""
    head = ["What", "The add-in", "Reference", "Ratio", "At most"]
    lines = [head, *(row.cells() for row in rows)]
    widths = [max(map(len, column)) for column in zip(*lines)]
    right = (1, 3)
    text = ["| " + " | ".join(cell.rjust(width) if i in right else cell.ljust(width)
                              for i, (cell, width) in enumerate(zip(line, widths))) + " |"
            for line in lines]
    text.insert(1, "|" + "|".join("-" * (width + 1) + (":" if i in right else "-")
                                  for i, width in enumerate(widths)) + "|")
    return "\n".join(text)


def machine(bench):
    names = re.findall("^model name\\s*: (.*)", Path("/proc/cpuinfo").read_text("utf-8"), re.M)
    return {"processor": names[0] if names else platform.machine(), "cores": os.cpu_count(),
            "system": platform.platform(),
            "compiler": bench.run("c++", "--version").splitlines()[0]}


def differences(rows, earlier):
    """The counts that differ from an earlier run's by more than a hundredth, in sentences."""
    before, now = ({row["what"]: row["ours"] for row in each if not row["what"].endswith("time")}
                   for each in (earlier, rows))
    for what in {**now, **before}:
        old, new = before.get(what, 0), now.get(what, 0)
        if abs(new - old) > max(new, old) / 100:
            yield f"Differs: {what}: {old:,}, now {new:,}."


def results_in(name):
    """The rows that an earlier run wrote."""
    try:
        rows = json.loads(Path(name).read_text("utf-8"))["rows"]
        list(differences([], rows))
        return rows
    except OSError as error:
        raise argparse.ArgumentTypeError(f"{name} cannot be read: {error.strerror}") from error
    except (ValueError, KeyError, TypeError) as error:
        raise argparse.ArgumentTypeError(f"{name} holds no results of an earlier run") from error


def options():
    # What the options do is told by the command in the top folder.
    parser = argparse.ArgumentParser(prog="benchmark", add_help=False, allow_abbrev=False,
                                     usage="benchmark [--quick] [--compare FILE] [--results FILE]")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--compare", metavar="FILE", type=results_in)
    parser.add_argument("--results", metavar="FILE", default="benchmark-results.json")
    parser.add_argument("--build", type=Path, default=ROOT / "build/release")
    # Only says whether the options are right, before anything is installed and built.
    parser.add_argument("--check-options", action="store_true")
    return parser.parse_args()


def main():
    chosen = options()
    if chosen.check_options:
        return 0
    memory = "/dev/shm"  # where no disk has a part in a time
    with tempfile.TemporaryDirectory(dir=memory if os.access(memory, os.W_OK) else None) as folder:
        bench = Bench(chosen.build.resolve(), Path(folder))
        print("Counting", file=sys.stderr)
        bench.check_reference()
        bench.counts()
        bench.heap()
        bench.library()
        if not chosen.quick:
            print("Taking times", file=sys.stderr)
            bench.times()
        rows = bench.rows()
        results = {"machine": machine(bench), "rows": [asdict(row) for row in rows]}
    print(table(rows))
    text = json.dumps(results, indent=1, ensure_ascii=False) + "\n"
    Path(chosen.results).write_text(text, "utf-8")
    failures = [f"Missed: {row.what}: {row.text(row.ours)}, {row.text(row.reference())} by the "
                f"reference; at most {row.bound}." for row in rows if row.missed]
    failures += differences(results["rows"], chosen.compare) if chosen.compare is not None else []
    print("\n".join(failures or ["Every bound is kept."]))
    return 1 if failures else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (OSError, RuntimeError, ValueError) as error:
        sys.exit(f"benchmark: {error}")
