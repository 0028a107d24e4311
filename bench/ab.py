"""Times two builds of the library against each other and prints a table, for bench/ab.sh, which has the options."""
import argparse
import collections
import math
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile


def median_interval(values):
    """The order statistics that contain the median with a probability of at least 95 %, for any distribution."""
    n = len(values)
    rank = 0  # fewer than rank of n values lie on one side of the median with a probability of at most 2.5 %
    while sum(math.comb(n, k) for k in range(rank + 1)) / 2**n <= 0.025:
        rank += 1
    return sorted(values)[rank - 1], sorted(values)[n - rank]


def time_rows(program, rows, libraries, alternations):
    """Ratios by row. Each in a new process, so that the interval covers the placement of code and arrays."""
    ratios, bits = collections.defaultdict(list), {}
    for i in range(alternations):
        forward = i % 2 == 0
        order = libraries if forward else libraries[::-1]
        for line in run([program, "time", rows, *order]).splitlines():
            name, ratio, bits[name] = line.split("\t")
            ratios[name].append(float(ratio) if forward else 1 / float(ratio))
    return ratios, bits


def count_rows(program, rows, library):
    """Instructions of one warm call by row. callgrind does not support AVX-512 and runs the level below it."""
    with tempfile.TemporaryDirectory() as folder:
        names = run(["valgrind", "--tool=callgrind", "--quiet", "--toggle-collect=CountedCall",
                     "--dump-after=CountedCall", f"--callgrind-out-file={folder}/out",
                     program, "count", rows, library]).splitlines()
        totals = [re.search(r"^(?:totals|summary): (\d+)", (pathlib.Path(folder) / f"out.{i}").read_text(), re.M)
                  for i in range(1, len(names) + 1)]
    return {name: int(total[1]) for name, total in zip(names, totals)}


def run(command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("base")
    parser.add_argument("new")
    parser.add_argument("--rows", default="")
    parser.add_argument("--alternations", type=int, default=20)
    parser.add_argument("--no-counts", action="store_true")
    options = parser.parse_args()
    if options.alternations < 20:
        parser.error("at least 20 alternations")

    ratios, bits = time_rows(options.program, options.rows, (options.base, options.new), options.alternations)
    if not ratios:
        sys.exit(f"no row matches {options.rows}")
    counts = [{}, {}]
    if not options.no_counts:
        counts = [count_rows(options.program, options.rows, library) for library in (options.base, options.new)]
    width = max(map(len, ratios))
    print(f"{'row':{width}} {'base/new':>8}  {'95 % interval':15} {'':11} {'instructions':>12} {'new':>12} {'base/new':>8}")
    for name, values in ratios.items():
        low, high = median_interval(values)
        verdict = "faster" if low > 1 else "SLOWER" if high < 1 else "1 within"
        line = f"{name:{width}} {statistics.median(values):8.3f}  {low:.3f} .. {high:.3f}  {verdict:10}"
        if name in counts[0]:
            base, new = counts[0][name], counts[1][name]
            line += f"  {base:12} {new:12} {base / new:8.3f}"
        print(line + ("" if bits[name] == "same" else "  other bits"))


main()
