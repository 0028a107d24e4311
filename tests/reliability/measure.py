#!/usr/bin/env python3
"""Runs the commands of the table in docs/reliability.md, and writes the numbers that they print, and the date, into the
rows of those that succeed.

Usage: tests/reliability/measure.py [ROW ...]     rows whose first words are these; by default those without hours

./test.sh builds what they run. A row's command is the first text in backquotes of its last cell. What it prints is kept
in build/measured.
"""
import re
import subprocess
import sys
from datetime import date
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PAGE = ROOT / "docs/reliability.md"
PRINTED = ROOT / "build/measured"
HOURS = ["Anything else", "Anything, for hours", "Every float", "Tests that miss", "Lines at random"]
MUTANTS = [(r"^(\d+) mutants", sum, r"([\d,]+) mutants"), (r"(\d+) change no", sum, r"([\d,]+) change no"),
           (r"of (\d+) others", sum, r"of ([\d,]+) others"), (r"others (\d+) were", sum, r"([\d,]+) were killed"),
           (r"\(([\d.]+) %\)", max, r"([\d.]+) %"), (r"(\d+) by tests added", sum, r"([\d,]+) by tests added")]
# Of a row, the numbers that its command prints, what is made of them, and their place in the text of its figure.
NUMBERS = {
    "Bad scalars": [(r"^(\d+) calls$", sum, r"([\d,]+) calls")],
    "Memory that grows": [(r"in (\d+) settings$", sum, r"for ([\d,]+) settings")],
    "Races that no run shows": [(r"ERROR SUMMARY: (\d+) errors", sum, r"([\d,]+) reports")],
    "A call that waits": [(r"^up to (\d+) bytes of stack", max, r"up to ([\d,]+) bytes")],
    "Loading and unloading": [(r"heap (-?\d+) KiB", max, r"heap grows by (-?\d+) KiB"),
                              (r"resident (-?\d+) KiB", max, r"resident memory by (-?\d+) KiB")],
    "A wrong transform": [(r"^worst error ([\d.]+) of", max, r"worst error ([\d.]+) of"),
                          (r"^\d+: worst error ([\d.]+) of", max, r"([\d.]+) at the lengths above")],
    "Long transforms": [(rf"^{n}: error (.*)$", max, rf"([\d.e-]+) \({name}\)") for n, name in [
        (131072, "131072"), (2**20 - 1, r"2\^20 - 1"), (2**20, r"2\^20"), (1666681, "1666681"),
        (46349, "prime 46349"), (160001, "prime 160001")]],
    "Integers that wrap": [(r"^(\d+) places", sum, r"([\d,]+) places")],
    "Anything, for hours": [(r"^(\d+) calls by", lambda n: sum(n) / 1e6, r"([\d.]+) million calls,"),
                            (r"^(\d+) tables built in vain", sum, r"([\d,]+) tables dropped"),
                            (r"^(\d+) wrong results", sum, r"([\d,]+) wrong")],
    "Any object": [(r": (\d+) runs", sum, r"([\d,]+) runs"), (r"(\d+) a second", max, r"([\d,]+) a second")],
    "Any value": [(r": (\d+) runs", sum, r"([\d,]+) runs"), (r"(\d+) a second", max, r"([\d,]+) a second")],
    "Broken files": [(r": (\d+) runs", sum, r"([\d,]+) runs"), (r"(\d+) a second", max, r"([\d,]+) a second")],
    "Every float": [(r" (\d+) wrong of", sum, r"([\d,]+) wrong")],
    "Tests that miss": MUTANTS,
    "Lines at random": MUTANTS,
    "Code that no test": [(r"^(\d+) of \d+ lines", sum, r"([\d,]+) of [\d,]+ lines"),
                          (r"^\d+ of (\d+) lines", sum, r"[\d,]+ of ([\d,]+) lines"),
                          (r"^(\d+) of \d+ branches", sum, r"([\d,]+) of [\d,]+ branches"),
                          (r"^\d+ of (\d+) branches", sum, r"[\d,]+ of ([\d,]+) branches")],
}


def text_of(value: float) -> str:
    if value == int(value):
        return f"{int(value):,}"
    return f"{value:.1e}".replace("e-0", "e-") if value < 0.01 else f"{value:.2f}" if value < 1 else f"{value:.1f}"


def measured(row: str) -> str:
    """The row with new numbers, or as it was where its command fails or does not print them."""
    cells = re.split(r"(?<!\\)\|", row)
    fault, command = cells[1].strip(), re.search("`(.*?)`", cells[5])[1].replace("\\|", "|")
    shell = re.sub(r"^T ('.*?')", r"build/release/kelvo_audio_reliability_tests --gtest_filter=\1", command)
    print(f"{fault}: {shell}", flush=True)
    run = subprocess.run(["bash", "-c", shell], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                         errors="replace")
    log = PRINTED / f"{fault}.log"
    log.parent.mkdir(exist_ok=True)
    log.write_text(run.stdout)
    if run.returncode != 0:
        print(f"FAILED {fault}: {log}", flush=True)
        return row
    numbers = next((numbers for start, numbers in NUMBERS.items() if fault.startswith(start)), [])
    for printed, make, place in numbers:
        found = [float(number) for number in re.findall(printed, run.stdout, re.MULTILINE)]
        cell = next((i for i in (3, 2) if re.search(place, cells[i])), None)
        if not found or cell is None:
            print(f"FAILED {fault}: no {printed} in what it prints, or no {place} in the row", flush=True)
            return row
        match, new = re.search(place, cells[cell]), text_of(make(found))
        print(f"  {match[1]} -> {new}", flush=True)
        cells[cell] = cells[cell][:match.start(1)] + new + cells[cell][match.end(1):]
    cells[4] = f" {date.today()} "
    return "|".join(cells)


def main() -> None:
    chosen = sys.argv[1:]
    for row in re.findall(r"^\| (?!Fault|---).*`.*\|$", PAGE.read_text(), re.MULTILINE):
        fault = row[2:]
        if any(fault.startswith(name) for name in chosen) or not chosen and not fault.startswith(tuple(HOURS)):
            new = measured(row)
            PAGE.write_text(PAGE.read_text().replace(row, new))


main()
