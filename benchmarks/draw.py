#!/usr/bin/env python3
"""Draws the curves of docs/performance.md from what ./benchmark has written."""

import argparse
import json
import os
import shutil
import subprocess
import sys

STYLE = """
set terminal svg size 720,{height} font "sans-serif,13" background "#ffffff"
set output "{output}"
set border 3 linecolor rgb "#808080"
set tics nomirror
set grid ytics linecolor rgb "#e0e0e0" linetype 1
set key {key}
set style line 1 linecolor rgb "#0b6fa4" linewidth 2.5 pointtype 7 pointsize 0.5
set style line 2 linecolor rgb "#c04f15" linewidth 1.5 pointtype 5 pointsize 0.5
set style line 3 linecolor rgb "#6a6a6a" linewidth 1.5 pointtype 9 pointsize 0.5
set style line 4 linecolor rgb "#9a9a9a" linewidth 1.5 dashtype 2 pointtype 4 pointsize 0.5
set rmargin 5
"""
LINES = """
set logscale xy
set xrange [2:1e6]
set xlabel "lines in the file"
set xtics ("2" 2, "10" 10, "100" 100, "1,000" 1e3, "10,000" 1e4, "100,000" 1e5, "1,000,000" 1e6)
set format y "%g"
"""


def plot(folder, name, commands, columns, height=400, key="left top"):
    """Hands gnuplot the data as `$data`, one line for each of `columns`."""
    output = os.path.join(folder, name)
    data = "\n".join("\t".join(str(value) for value in line) for line in columns)
    script = (STYLE.format(output=output, height=height, key=key)
              + f"set datafile separator '\\t'\n$data << END\n{data}\nEND\n{commands}")
    subprocess.run(["gnuplot"], input=script, text=True, check=True,
                   env={**os.environ, "LC_ALL": "C.UTF-8"})
    print(output)


def draw(results, folder):
    points = [point for point in results["details"]["update"] if "ours" in point]
    fit = results["details"]["updateFit"]["ours"]
    plot(folder, "update-time.svg", LINES + f"""
set title "Updating the info file"
set ylabel "milliseconds"
plot $data using 1:2 with linespoints linestyle 2 title "sed -i", \\
     $data using 1:5 with points linestyle 1 title "the add-in", \\
     {fit["start"] / 1e6} + {fit["slope"] / 1e6} * x linestyle 1 \\
         title "{fit["start"] / 1e3:.1f} µs and {fit["slope"]:.1f} ns a line: its linear fit", \\
     $data using 1:3 with linespoints linestyle 3 title "by hand, read and write", \\
     $data using 1:4 with linespoints linestyle 4 title "getline, reading only"
""", [[p["lines"], *(p[kind] / 1e6 for kind in ("sed", "byHand", "getline", "ours"))]
      for p in points])
    plot(folder, "update-memory.svg", LINES + """
set title "Memory for the update"
set ylabel "kilobytes"
plot $data using 1:2 with linespoints linestyle 2 title "the limit: twice the file, 32 bytes a line and 9 KB", \\
     $data using 1:3 with linespoints linestyle 1 title "the add-in", \\
     $data using 1:4 with lines linestyle 4 title "the file"
""", [[p["lines"], *(p[kind] / 1e3 for kind in ("memoryLimit", "memory", "bytes"))]
      for p in points], key="right bottom")
    rows = {row["what"]: row for row in results["rows"]}
    calls = [[name, *(rows[f"{name}: instructions"][who] for who in ("ours", "reference"))]
             for name in results["details"]["situations"]]
    plot(folder, "calls.svg", """
set title "Instructions of the add-in's own in one call of the host"
set style data histograms
set style histogram clustered gap 1
set style fill solid 1 noborder
set boxwidth 0.85
set xtics scale 0 rotate by -20 noenhanced
set yrange [0:*]
set bmargin 6
plot $data using 2:xticlabels(1) linestyle 1 title "the add-in", \\
     $data using 3 linestyle 4 title "by hand"
""", calls, key="right top")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--results", metavar="FILE", default="benchmark-results.json",
                        help="what was measured (%(default)s)")
    parser.add_argument("--folder", metavar="DIR", default="docs/pictures",
                        help="where the pictures go (%(default)s)")
    options = parser.parse_args()
    if shutil.which("gnuplot") is None:
        sys.exit("draw.py: gnuplot is missing; the Debian package gnuplot-nox has it.")
    try:
        with open(options.results, encoding="utf-8") as file:
            results = json.load(file)
    except FileNotFoundError:
        sys.exit(f"draw.py: there is no {options.results}; ./benchmark writes it.")
    os.makedirs(options.folder, exist_ok=True)
    draw(results, options.folder)


if __name__ == "__main__":
    main()
