#!/usr/bin/env python3
"""Runs the benchmarks of a build, compares each with its reference, writes all figures to a JSON file
and prints them as a table. Ends with 1 when a count misses its target; times decide nothing."""

import argparse
import json
import os
import platform
import re
import shutil
import subprocess
import sys
import tempfile

import callgrind
from library import Library

# What a text is needed for that is too long for a string's own buffer of 15 bytes: one allocation
# each.
START = ["the info file's path", "the button's name", "the button's tooltip",
         "the folder of its icons", "the control HelpGroupCommand"]
PAGE = ["the entitlement command", "the entitlement", "the page's address"]
LONG_TEXTS = {
    "run, first start": START + PAGE,
    "run, fifth start": START,
    "OpenPalette, creating": PAGE,
    "OpenPalette, finding": PAGE,
    "online report, creating": PAGE,
    "online report, finding": PAGE,
    "stop": [],
}
# The info file is opened once on a first start, else for reading and for writing: a file and its
# buffer each time.
STREAM_ALLOCATIONS = {"run, first start": 2, "run, fifth start": 4}

HANDLE_OPERATIONS = ["attach and destroy", "copy", "assign another", "assign itself", "test",
                     "arrow", "conversion by query"]
LEAST_UPDATE_CALLS = ["access", "open", "read", "close", "open", "write", "close"]
UPDATE_LINES = [2, 10, 100, 1_000, 10_000, 100_000, 1_000_000]
MESSAGE_BYTES = [2, 100, 1_000, 10_000, 100_000, 1_000_000]
LINUX_SIZE = 64 * 1024
MACOS_SIZE = 80 * 1024
MESSAGE_INSTRUCTIONS = 2_000
# The two buffers of the file stream, and its file.
STREAM_BYTES = 9 * 1024

# The targets that are missed: by what count, and why. It fails the run when the count has grown, and
# when the target is met after all and the miss is to be struck out.
KNOWN_MISSES = {
    "handle, assign another: instructions":
        (22, "a handle compares first, and releases the old object before it counts the new one"),
}


class Report:
    """The rows of the table, and the figures behind them."""

    def __init__(self):
        self.rows = []
        self.details = {}

    def add(self, what, ours, unit, reference=None, reference_text=None, target=None, met=None):
        """One row. `met` is None where nothing is judged, or says whether the target is met."""
        self.rows.append({
            "what": what, "ours": ours, "unit": unit, "reference": reference,
            "referenceText": reference_text, "target": target, "met": met,
        })

    def count(self, what, ours, unit, limit, target, reference=None, reference_text=None):
        """A count that may be `limit` at most."""
        self.add(what, ours, unit, reference, reference_text, target, ours <= limit)


def progress(text):
    print(text, file=sys.stderr, flush=True)


class Bench:
    def __init__(self, build, macos, quick):
        self.build = build
        self.macos = macos
        self.quick = quick
        self.report = Report()
        # What could change a count is the same on every run.
        self.environment = {"PATH": os.environ["PATH"], "LC_ALL": "C", "TMPDIR": "/tmp", "TZ": "UTC"}
        self.addin = f"{build}/Velorin.so"
        self.by_hand = f"{build}/ByHand.so"
        self.empty = f"{build}/Empty.so"
        self.times = {}

    def run(self):
        self.measure_times()
        self.handle()
        self.situations()
        self.update()
        self.message()
        self.loading()
        self.size()
        return self.report

    def instructions(self, *words):
        return callgrind.count(self.build, self.environment, *words)

    def counts(self, *words):
        """What benchmark-counts tells with every allocation counted, by the calls' names."""
        output = subprocess.run(
            [f"{self.build}/benchmark-counts", *words], check=True, stdout=subprocess.PIPE,
            text=True,
            env={**self.environment, "LD_PRELOAD": f"{self.build}/liballocations.so"},
        ).stdout
        return {line["name"]: line for line in map(json.loads, output.splitlines())}

    def measure_times(self):
        progress("Times: all calls")
        with tempfile.NamedTemporaryFile(suffix=".json") as output:
            run = subprocess.run(
                [f"{self.build}/benchmark-times", "2" if self.quick else "20",
                 f"--benchmark_min_time={0.001 if self.quick else 0.05}",
                 f"--benchmark_repetitions={1 if self.quick else 7}",
                 f"--benchmark_out={output.name}", "--benchmark_out_format=json"],
                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                env=self.environment,
            )
            if run.returncode != 0:
                raise RuntimeError(f"benchmark-times failed: {run.stderr[-1500:]}")
            with open(output.name, encoding="utf-8") as file:
                benchmarks = json.load(file)["benchmarks"]
        units = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
        for entry in benchmarks:
            if entry["run_type"] != "iteration":
                continue
            name = re.sub(r"/(real_time|manual_time|iterations:\d+|repeats:\d+)", "", entry["name"])
            time = entry["real_time"] * units[entry["time_unit"]]
            # The quickest of several: whatever else the machine did only made it slower.
            self.times[name] = min(time, self.times.get(name, time))

    def time(self, what, ours, reference, reference_name):
        """A row for a time and its reference, two names of benchmark-times."""
        self.report.add(f"{what}: time", round(self.times[ours], 1), "ns",
                        round(self.times[reference], 1), reference_name)

    def handle(self):
        progress("Counts: the handle")
        counted = self.instructions("handles")
        for operation in HANDLE_OPERATIONS:
            ours, bare, boost = (
                counted[f"{operation}: {kind}"].of("libhandle-operations")
                for kind in ("Ptr", "bare pointer", "boost::intrusive_ptr"))
            self.report.count(
                f"handle, {operation}: instructions", ours, "", min(bare, boost),
                "at most either", min(bare, boost), f"{bare} bare, {boost} Boost")
            self.time(f"handle, {operation}", f"{operation}|Ptr", f"{operation}|bare pointer",
                      "bare pointer")

    def situations(self):
        progress("Counts: start, palette, online report, exit")
        ours, theirs = (self.instructions("situations", library)
                        for library in (self.addin, self.by_hand))
        our_counts, their_counts = (self.counts("situations", library)
                                    for library in (self.addin, self.by_hand))
        details = self.report.details["situations"] = {}
        for name, texts in LONG_TEXTS.items():
            for what in ("result", "infoFile"):
                if our_counts[name][what] != their_counts[name][what]:
                    raise RuntimeError(f"{name}: by hand, {what} is {their_counts[name][what]!r} "
                                       f"in place of {our_counts[name][what]!r}")
            reference = theirs[name].own("ByHand.so")
            self.report.count(f"{name}: instructions", ours[name].own("Velorin.so"), "",
                              2 * reference, "at most twice", reference, "by hand")
            calls, reference_calls = (host_calls(counts[name])
                                      for counts in (our_counts, their_counts))
            self.report.add(f"{name}: host calls", len(calls), "", len(reference_calls), "by hand",
                            "the same ones", calls == reference_calls)
            allocations, reference_allocations = (
                counts[name]["allocations"] for counts in (our_counts, their_counts))
            of_streams = STREAM_ALLOCATIONS.get(name, 0)
            of_c_library = reference_allocations["cLibrary"]
            self.report.add(
                f"{name}: allocations", sum(allocations.values()), "",
                sum(reference_allocations.values()), "by hand",
                ", ".join([f"at most {len(texts)} long texts"]
                          + [f"{of_streams} of the streams"] * (of_streams > 0)
                          + [f"{of_c_library} of the C library"] * (of_c_library > 0)),
                allocations["text"] <= len(texts) and allocations["stream"] <= of_streams
                and allocations["cLibrary"] <= of_c_library)
            self.time(name, f"{name}|Velorin.so", f"{name}|ByHand.so", "by hand")
            details[name] = {
                "hostCalls": calls,
                "longTexts": texts,
                "allocations": allocations,
                "textBytes": our_counts[name]["textBytes"],
                "instructionsByLibrary": {"ours": ours[name].libraries(),
                                          "reference": theirs[name].libraries()},
            }

    def update(self):
        progress("Counts: the update of the info file")
        shapes = [word for lines in UPDATE_LINES for word in (str(lines), "10")]
        # Wider lines, and a single one without its line feed.
        shapes += ["20000", "100", "3", "1000000", "1", "1000000"]
        counted = self.counts("update", self.addin, *shapes)
        series = self.report.details["update"] = []
        for key, entry in counted.items():
            lines, size = entry["lines"], entry["bytes"]
            name = f"update of {lines:,} line" + "s" * (lines != 1)
            memory = entry["peakBytes"]
            limit = 2 * size + 32 * lines + STREAM_BYTES
            point = {"lines": lines, "bytes": size, "memory": memory, "memoryLimit": limit}
            series.append(point)
            self.report.count(
                f"{name}, {size:,} bytes: memory", memory, "bytes", limit,
                f"at most {limit:,}: twice the file, 32 a line, {STREAM_BYTES:,} of the stream",
                size, "the file")
            if lines in UPDATE_LINES:
                for label, kind in (("ours", "Velorin.so"), ("byHand", "ByHand.so"),
                                    ("getline", "getline"), ("sed", "sed -i")):
                    point[label] = self.times[f"{key}|{kind}"]
                self.time(name, f"{key}|Velorin.so", f"{key}|sed -i", "sed -i")
        timed = [point for point in series if "ours" in point]
        fits = {who: line_through([(point["lines"], point[who]) for point in timed])
                for who in ("ours", "getline")}
        self.report.details["updateFit"] = fits
        self.report.add("update: time a line, by a linear fit", round(fits["ours"]["slope"], 2), "ns",
                        round(fits["getline"]["slope"], 2), "reading by getline alone")

        sizes = [1_000, 10_000, 100_000]
        counted = self.instructions(
            "update", self.addin, *[word for lines in sizes for word in (str(lines), "10")])
        totals = [counted[f"update of {lines} lines"].outside("benchmark-counts")
                  for lines in sizes]
        self.linear("update: instructions a line", sizes, totals)

        for lines, width in ((2, 0), (40, 100)):
            calls = self.system_calls(self.addin, lines, width)
            reference = self.system_calls(self.by_hand, lines, width)
            told = self.counts("update", self.addin, str(lines), str(width))
            size = f"{told[f'update of {lines} lines']['bytes']:,} bytes"
            self.report.count(
                f"update of {size}: system calls", len(calls), "", len(LEAST_UPDATE_CALLS) + 2,
                f"at most {len(LEAST_UPDATE_CALLS)} and 2 more", len(reference), "by hand")
            self.report.details[f"system calls, {size}"] = {"ours": calls, "reference": reference}

    def linear(self, what, sizes, totals):
        """A row for what one unit of size costs: the same between any two sizes."""
        steps = [(after - before) / (larger - smaller)
                 for before, after, smaller, larger in zip(totals, totals[1:], sizes, sizes[1:])]
        spread = max(steps) / min(steps)
        self.report.add(what, round(steps[-1], 1), "", round(steps[0], 1),
                        f"from {sizes[0]:,} to {sizes[1]:,}", "the same within a tenth",
                        spread <= 1.1)

    def system_calls(self, library, lines, width):
        with tempfile.NamedTemporaryFile(mode="r") as log:
            subprocess.run(
                ["strace", "-f", "-o", log.name, f"{self.build}/benchmark-counts", "update",
                 library, str(lines), str(width)],
                check=True, stdout=subprocess.DEVNULL, env=self.environment)
            between = log.read().split('"benchmark begins"')[1].split('"benchmark ends"')[0]
        calls = [re.match(r"\d+\s+(\w+)\(", line) for line in between.splitlines()[1:]]
        names = [call[1] for call in calls if call]
        return names[:-1]  # the last one is the mark at the end

    def message(self):
        progress("Counts: a page's message")
        totals, reference = (
            {size: counted[f"message of {size} bytes"].outside("benchmark-counts", "libXInterface10")
             for size in MESSAGE_BYTES}
            for counted in (self.instructions("message", library, *map(str, MESSAGE_BYTES))
                            for library in (self.addin, self.by_hand)))
        self.report.count("message of 100 bytes: instructions before system", totals[100], "",
                          MESSAGE_INSTRUCTIONS, f"at most {MESSAGE_INSTRUCTIONS:,}", reference[100],
                          "by hand")
        # A short text is copied in another way than a long one.
        sizes = [10_000, 100_000, 1_000_000]
        self.linear("message: instructions a byte", sizes, [totals[size] for size in sizes])
        self.time("message of 100 bytes, with system", "message of 100 bytes|Velorin.so",
                  "message of 100 bytes|system", "system alone")
        self.report.details["message"] = [
            {"bytes": size, "instructions": totals[size]} for size in MESSAGE_BYTES]

    def loading(self):
        progress("Counts: loading and unloading")
        ours, reference = Library(self.addin), Library(self.empty)
        our_objects, their_objects = (library.relocations_by_object()
                                      for library in (ours, reference))
        unnamed = our_objects.pop(None, 0)
        self.report.add("relocations", len(ours.relocations), "", len(reference.relocations),
                        "empty library", "each one of a named object", unnamed == 0)
        starts, ends = ours.initialisers()
        reference_starts, reference_ends = reference.initialisers()
        self.report.add("initialisers", len(starts), "", len(reference_starts), "empty library",
                        "each one named", None not in starts + ends)
        counted, reference_counted = (self.instructions("loading", library)
                                      for library in (self.addin, self.empty))
        for what in ("load", "unload"):
            self.report.add(
                f"{what}: instructions", counted[what].outside("benchmark-counts"), "",
                reference_counted[what].outside("benchmark-counts"), "empty library")
        self.time("load and unload", "load and unload|Velorin.so", "load and unload|Empty.so",
                  "empty library")
        beyond = our_objects - their_objects
        self.report.details["loading"] = {
            "relocationsBeyondTheReference": dict(sorted(beyond.items())),
            "initialisersBeyondTheReference": sorted(
                set(map(str, starts + ends)) - set(map(str, reference_starts + reference_ends))),
            "instructionsBeyondTheReference": {
                what: dict((counted[what].functions() - reference_counted[what].functions())
                           .most_common())
                for what in ("load", "unload")},
        }

    def size(self):
        progress("Counts: size")
        library = Library(self.addin)
        size = library.stripped_size()
        self.report.count("size on Linux, stripped", size, "bytes", LINUX_SIZE,
                          f"at most {LINUX_SIZE:,}")
        uncalled = library.uncalled()
        self.report.count("functions that nothing leads to", len(uncalled), "", 0, "none")
        self.report.details["size"] = {"sections": library.section_sizes(), "uncalled": uncalled}
        strip = shutil.which("llvm-strip") or shutil.which("llvm-strip-14")
        if not os.path.exists(self.macos):
            self.report.add("size on macOS, stripped", "not built", "")
        elif strip is None:
            self.report.add("size on macOS, stripped", "no llvm-strip", "")
        else:
            with tempfile.TemporaryDirectory() as folder:
                subprocess.run([strip, "-x", "-o", f"{folder}/stripped", self.macos], check=True)
                size = os.path.getsize(f"{folder}/stripped")
            self.report.count("size on macOS, stripped", size, "bytes", MACOS_SIZE,
                              f"at most {MACOS_SIZE:,}")


def host_calls(counted):
    """What the host was asked for: the operations, on what, and with which arguments."""
    calls = []
    for entry in counted["hostCalls"]:
        # Handlers are told by their class, which is another one in the reference.
        arguments = entry["args"] if not entry["op"].endswith("Event.add") else ["a handler"]
        calls.append([entry["op"], entry.get("on"), arguments, entry["result"]])
    return calls


def line_through(points):
    """The straight line that fits the points best, by the squares of the relative deviations."""
    ones = sum(1 / y ** 2 for _, y in points)
    xs = sum(x / y ** 2 for x, y in points)
    squares = sum((x / y) ** 2 for x, y in points)
    y_sum = sum(1 / y for _, y in points)
    xy_sum = sum(x / y for x, y in points)
    slope = (ones * xy_sum - xs * y_sum) / (ones * squares - xs ** 2)
    return {"start": (y_sum - slope * xs) / ones, "slope": slope}


def number(value, unit):
    if value is None:
        return ""
    if isinstance(value, str):
        return value
    if unit == "ns":
        for scale, name in ((1e9, "s"), (1e6, "ms"), (1e3, "µs")):
            if value >= scale:
                return f"{value / scale:.3g} {name}"
        return f"{value:.3g} ns"
    return f"{value:,}" + (f" {unit}" if unit else "")


def table(rows):
    """The rows as a table that reads well as it stands, and as Markdown."""
    lines = [["What", "Ours", "Reference", "Ratio", "Target"], None]
    for row in rows:
        reference = number(row["reference"], row["unit"])
        if row["referenceText"]:
            alone = row["referenceText"][:1].isdigit()
            reference = row["referenceText"] if alone else f"{reference} {row['referenceText']}"
        ratio = ""
        if row["reference"] and isinstance(row["ours"], (int, float)):
            ratio = f"{row['ours'] / row['reference']:.2f}"
        target = row["target"] or ""
        if row["met"] is False:
            target += " – MISSED"
            if row["what"] in KNOWN_MISSES:
                target += f": {KNOWN_MISSES[row['what']][1]}"
        lines.append([row["what"], number(row["ours"], row["unit"]), reference, ratio, target])
    widths = [max(len(line[i]) for line in lines if line) for i in range(5)]
    text = []
    for line in lines:
        if line is None:
            text.append("|" + "|".join(
                "-" * (w + 1) + (":" if i in (1, 3) else "-") for i, w in enumerate(widths)) + "|")
        else:
            text.append("| " + " | ".join(
                cell.rjust(w) if i in (1, 3) else cell.ljust(w)
                for i, (cell, w) in enumerate(zip(line, widths))) + " |")
    return "\n".join(text)


def machine():
    processor = platform.processor() or platform.machine()
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        for line in file:
            if line.startswith("model name"):
                processor = line.split(":", 1)[1].strip()
                break
    compiler = subprocess.run(["g++", "--version"], capture_output=True, text=True, check=True)
    return {"processor": processor, "cores": os.cpu_count(), "system": platform.platform(),
            "compiler": compiler.stdout.splitlines()[0]}


def is_time(row):
    return row["unit"] == "ns" or row["what"].startswith("update: time")


def differences(rows, earlier):
    """The counts that differ from those of an earlier run, in words."""
    before, now = (
        {row["what"]: [row[key] for key in ("ours", "reference", "referenceText")]
         for row in some if not is_time(row)}
        for some in (earlier, rows))
    return [f"{what}: {before.get(what)}, now {now.get(what)}"
            for what in sorted(before.keys() | now.keys()) if before.get(what) != now.get(what)]


def failures(rows, earlier=None):
    """What fails the run, in sentences: each miss that is not a known one, and each count that
    differs from that of the rows `earlier`."""
    result = []
    for row in rows:
        ours = number(row["ours"], row["unit"])
        known, _ = KNOWN_MISSES.get(row["what"], (None, None))
        if row["met"] is False and (known is None or row["ours"] > known):
            was = "" if known is None else f" It was {number(known, row['unit'])}."
            result.append(f"Missed: {row['what']}: {ours}; {row['target']}.{was}")
        elif row["met"] and known is not None:
            result.append(f"No longer missed: {row['what']}: {ours}; strike it out.")
    for difference in differences(rows, earlier) if earlier is not None else []:
        result.append(f"Another count than before: {difference}.")
    return result


def main():
    # What each option does is told by the command in the top folder.
    builds = os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, "build")
    parser = argparse.ArgumentParser(prog="benchmark", add_help=False)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--compare", metavar="FILE")
    parser.add_argument("--results", metavar="FILE", default="benchmark-results.json")
    parser.add_argument("--build", help=argparse.SUPPRESS, default=os.path.join(builds, "release"))
    parser.add_argument("--macos", help=argparse.SUPPRESS,
                        default=os.path.join(builds, "macos", "Velorin.dylib"))
    # Only says whether the options are right, before anything is installed and built.
    parser.add_argument("--check-options", action="store_true", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.check_options:
        return 0
    earlier = None
    if options.compare:
        with open(options.compare, encoding="utf-8") as file:
            earlier = json.load(file)["rows"]

    report = Bench(os.path.abspath(options.build), options.macos, options.quick).run()
    with open(options.results, "w", encoding="utf-8") as file:
        json.dump({"machine": machine(), "rows": report.rows, "details": report.details}, file,
                  indent=1, ensure_ascii=False)
        file.write("\n")
    print(table(report.rows))
    failed = failures(report.rows, earlier)
    print("\n".join(failed or ["Every count meets its target, but for the known misses above."]))
    return 1 if failed else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (OSError, RuntimeError, subprocess.CalledProcessError) as error:
        sys.exit(f"benchmark: {error}")
