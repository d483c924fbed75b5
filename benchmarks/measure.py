#!/usr/bin/env python3
"""Runs the benchmarks of a build, prints all figures beside their references and bounds, and writes
them to a file. Ends with 1 when a bound is not kept."""

import argparse
import json
import os
import platform
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent

HANDLE_OPERATIONS = ["attach and destroy", "copy", "assign another", "assign itself", "test",
                     "arrow", "conversion by query"]
# The moments by name, and how many times the instructions by hand each may take.
MOMENTS = {"run, first start": 1.5, "run, fifth start": 1.5, "click, opening": 1.3,
           "click, showing again": 1.3, "going online": 1.3, "message, until the shell": 1.3,
           "stop": 1.3}
LINES = [2, 10, 100, 1_000, 10_000, 100_000, 1_000_000]
LINE_WIDTH = 10
SED_WINS_ABOVE = 10_000

# Counting is on while one of these functions runs, and off while one that it calls is among them.
HANDLE_TOGGLES = ["*Operations::*", "*HandleOf<*", "*CountedObject::*"]
MOMENT_TOGGLES = ["run", "stop", "*EventHandler::notify*", "OnlineStatusChangedHandler::notify*"]
UPDATE_TOGGLES = ["AutoOpenPalette*"]

# What both add-ins are put through; the host's traces and the info files must be the same.
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
"""


class Row:
    """One figure of the add-in's, with its reference and its bound where it has them."""

    def __init__(self, what, ours, unit="", reference=None, reference_name="", limit=None, bound=""):
        self.what = what
        self.ours = ours
        self.unit = unit
        self.reference = reference
        self.reference_name = reference_name
        self.limit = limit  # the most that `ours` may be; None: nothing is judged
        self.bound = bound  # the limit in words

    def missed(self):
        return self.limit is not None and self.ours > self.limit

    def is_time(self):
        return self.unit == "ns"

    def cells(self):
        reference = f"{number(self.reference, self.unit)} {self.reference_name}".strip()
        ratio = f"{self.ours / self.reference:.2f}" if self.reference else ""
        return [self.what, number(self.ours, self.unit), reference, ratio,
                self.bound + (" – MISSED" if self.missed() else "")]


class Bench:
    def __init__(self, options):
        self.build = Path(options.build).resolve()
        self.addin = Path(options.addin).resolve() if options.addin else self.build / "Velorin.so"
        self.by_hand = self.build / "ByHand.so"
        self.quick = options.quick

    def handle(self):
        counts = self.callgrind(HANDLE_TOGGLES, "handles")
        for operation in HANDLE_OPERATIONS:
            ours, bare, boost = (counts[f"{operation}: {kind}"]
                                 for kind in ("Ptr", "bare pointer", "boost::intrusive_ptr"))
            yield Row(f"handle, {operation}: instructions", ours, "", bare,
                      f"bare pointer, {boost} Boost", bare, "at most the bare pointer's")

    def moments(self):
        self.check_reference()
        ours, reference = (self.callgrind(MOMENT_TOGGLES, "moments", library)
                           for library in (self.addin, self.by_hand))
        for name, times in MOMENTS.items():
            yield Row(f"{name}: instructions", ours[name], "", reference[name], "by hand",
                      times * reference[name], f"at most {times} times")

    def growth(self):
        """Whether each further line of the info file costs the same."""
        sizes = [1_000, 4_000, 16_000]
        counts = [self.callgrind(UPDATE_TOGGLES, "update", self.addin, lines, LINE_WIDTH)["update"]
                  for lines in sizes]
        first, second = ((counts[i + 1] - counts[i]) / (sizes[i + 1] - sizes[i]) for i in (0, 1))
        yield Row("update, each line up to 16,000: instructions", round(second, 1), "",
                  round(first, 1), "up to 4,000", 1.1 * first, "at most 1.1 times")

    def heap(self):
        without = self.massif(0, 0)
        for lines, width in [(lines, LINE_WIDTH) for lines in LINES] + [(3, 1_000_000)]:
            size = len("16.11.2026\n4\n") + (lines - 2) * (width + 1)
            limit = 3 * size + 128 * lines + 16 * 1024
            longer = "" if width == LINE_WIDTH else ", 1 MB"
            yield Row(f"update of {lines:,} lines{longer}: heap",
                      self.massif(lines, width) - without, "bytes", limit, "allowed", limit,
                      "at most 3 times the file, 128 a line and 16 KB")

    def times(self):
        times = self.google_benchmark()
        ours, empty = (times[f"load and unload|{library}.so"] for library in ("Velorin", "Empty"))
        yield Row("load and unload: time", ours, "ns", empty, "an empty library", 1.5 * empty,
                  "at most 1.5 times")
        for name in MOMENTS:
            yield Row(f"{name}: time", times[f"{name}|Velorin.so"], "ns",
                      times[f"{name}|ByHand.so"], "by hand")
        for lines in LINES:
            name = f"update of {lines} lines"
            ours, sed = times[f"{name}|Velorin.so"], times[f"{name}|sed -i"]
            most = 1 if lines <= SED_WINS_ABOVE else 3
            yield Row(f"update of {lines:,} lines: time", ours, "ns", sed, "sed -i", most * sed,
                      "less" if most == 1 else f"at most {most} times")

    def sizes(self):
        yield Row("size for Linux, stripped", stripped_size(["strip"], self.addin), "bytes")
        strip = shutil.which("llvm-strip") or shutil.which("llvm-strip-14")
        built = [path for path in (ROOT / "build/macos/Velorin.dylib",
                                   self.build / "tests/macos/build/Velorin.dylib") if path.exists()]
        if strip and built:
            newest = max(built, key=lambda path: path.stat().st_mtime)
            yield Row("size for macOS, stripped", stripped_size([strip, "-x"], newest), "bytes")
        else:
            progress("The library for macOS is not built, or llvm-strip is not installed: its size "
                     "is left out. ./test builds it.")

    def check_reference(self):
        """Holds the add-in by hand to what the add-in does."""
        seen = []
        for library in (self.addin, self.by_hand):
            with tempfile.TemporaryDirectory() as folder:
                run([self.build / "substitute-host", "--addin", library, "--data", folder,
                     "--trace", f"{folder}/trace", "-"], input=SCENARIO)
                files = sorted(path for path in Path(folder).rglob("*.txt"))
                seen.append([path.read_text("utf-8") for path in [Path(folder, "trace"), *files]])
        if seen[0] != seen[1] or len(seen[0]) != 2:
            raise RuntimeError("the add-in by hand does not do what the add-in does")

    def callgrind(self, toggles, *words):
        """The instructions of each call that benchmark-counts makes, by the call's name."""
        with tempfile.TemporaryDirectory() as folder:
            run(["valgrind", "--tool=callgrind", "--collect-atstart=no",
                 f"--callgrind-out-file={folder}/out",
                 *(f"--toggle-collect={function}" for function in toggles),
                 self.build / "benchmark-counts", *words])
            counts = {}
            for part in sorted(Path(folder).iterdir(), key=lambda path: int("0" + path.suffix[1:])):
                text = part.read_text("utf-8", "replace")
                name = re.search("^desc: Trigger: Client Request: (.*)", text, re.MULTILINE)
                if name:
                    counts[name[1]] = int(re.search(r"^summary: (\d+)", text, re.MULTILINE)[1])
            return counts

    def massif(self, lines, width):
        """The heap's peak, in bytes, while benchmark-counts updates an info file."""
        with tempfile.NamedTemporaryFile("r", encoding="utf-8") as output:
            run(["valgrind", "--tool=massif", "--peak-inaccuracy=0",
                 f"--massif-out-file={output.name}",
                 self.build / "benchmark-counts", "update", self.addin, lines, width])
            return max(map(int, re.findall(r"^mem_heap_B=(\d+)", output.read(), re.MULTILINE)))

    def google_benchmark(self):
        """The median of several runs of each call, in nanoseconds, by the benchmark's name."""
        with tempfile.NamedTemporaryFile("r", encoding="utf-8") as output:
            run([self.build / "benchmark-times", "--benchmark_enable_random_interleaving=true",
                 f"--benchmark_repetitions={3 if self.quick else 15}",
                 f"--benchmark_min_time={0.001 if self.quick else 0.05}",
                 f"--benchmark_out={output.name}", "--benchmark_out_format=json"])
            measured = json.load(output)["benchmarks"]
        return {re.sub("/(iterations|real_time|manual_time).*", "", entry["run_name"]):
                round(entry["real_time"], 1)
                for entry in measured if entry.get("aggregate_name") == "median"}


SECTIONS = {"handle": "the handle", "moments": "the moments", "growth": "the update's growth",
            "heap": "the update's heap", "times": "times", "sizes": "sizes"}


def run(command, **more):
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                            check=False, **more)
    if result.returncode != 0:
        raise RuntimeError(f"{Path(command[0]).name} failed: {result.stderr[-1500:]}")
    return result.stdout


def progress(text):
    print(text, file=sys.stderr, flush=True)


def stripped_size(strip, library):
    with tempfile.NamedTemporaryFile() as stripped:
        run([*strip, "-o", stripped.name, library])
        return os.path.getsize(stripped.name)


def number(value, unit):
    if value is None:
        return ""
    if unit == "ns":
        for scale, name in ((1e9, "s"), (1e6, "ms"), (1e3, "µs")):
            if value >= scale:
                return f"{value / scale:.3g} {name}"
    return f"{value:,} {unit}".strip()


def table(rows):
    """The rows as a table of Markdown that reads well as it stands."""
    lines = [["What", "The add-in", "Reference", "Ratio", "Bound"], *(row.cells() for row in rows)]
    widths = [max(map(len, column)) for column in zip(*lines)]
    right = (1, 3)
    text = ["| " + " | ".join(cell.rjust(width) if i in right else cell.ljust(width)
                              for i, (cell, width) in enumerate(zip(line, widths))) + " |"
            for line in lines]
    text.insert(1, "|" + "|".join("-" * (width + 1) + (":" if i in right else "-")
                                  for i, width in enumerate(widths)) + "|")
    return "\n".join(text)


def machine():
    names = re.findall("^model name\\s*: (.*)", Path("/proc/cpuinfo").read_text("utf-8"), re.M)
    return {"processor": names[0] if names else platform.machine(), "cores": os.cpu_count(),
            "system": platform.platform(), "compiler": run(["c++", "--version"]).splitlines()[0]}


def differences(rows, earlier):
    """The counts that differ from an earlier run's, in sentences."""
    before = {row["what"]: row["ours"] for row in earlier if row["unit"] != "ns"}
    now = {row.what: row.ours for row in rows if not row.is_time()}
    return [f"Differs: {what}: {before.get(what, 'nothing')}, now {now.get(what, 'nothing')}."
            for what in sorted(before.keys() | now.keys()) if before.get(what) != now.get(what)]


def results_in(name):
    """The rows that an earlier run wrote."""
    try:
        return json.loads(Path(name).read_text("utf-8"))["rows"]
    except OSError as error:
        raise argparse.ArgumentTypeError(f"{name} cannot be read: {error.strerror}") from error
    except (ValueError, KeyError, TypeError) as error:
        raise argparse.ArgumentTypeError(f"{name} holds no results of an earlier run") from error


def options():
    # What the options do is told by the command in the top folder.
    parser = argparse.ArgumentParser(prog="benchmark", add_help=False)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--compare", metavar="FILE", type=results_in)
    parser.add_argument("--results", metavar="FILE", default="benchmark-results.json")
    # For the tests.
    parser.add_argument("--build", default=ROOT / "build/release", help=argparse.SUPPRESS)
    parser.add_argument("--addin", help=argparse.SUPPRESS)
    parser.add_argument("--only", choices=SECTIONS, help=argparse.SUPPRESS)
    # Only says whether the options are right, before anything is installed and built.
    parser.add_argument("--check-options", action="store_true", help=argparse.SUPPRESS)
    return parser.parse_args()


def main():
    chosen = options()
    if chosen.check_options:
        return 0
    bench = Bench(chosen)
    rows = []
    for section, name in SECTIONS.items():
        if chosen.only in (None, section):
            progress(f"Measuring {name}")
            rows += getattr(bench, section)()
    Path(chosen.results).write_text(
        json.dumps({"machine": machine(), "rows": [vars(row) for row in rows]}, indent=1,
                   ensure_ascii=False) + "\n", "utf-8")
    print(table(rows))
    failures = [f"Missed: {row.what}: {number(row.ours, row.unit)}; {row.bound}."
                for row in rows if row.missed()]
    failures += differences(rows, chosen.compare) if chosen.compare is not None else []
    print("\n".join(failures or ["Every bound is kept."]))
    return 1 if failures else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (OSError, RuntimeError, ValueError) as error:
        sys.exit(f"benchmark: {error}")
