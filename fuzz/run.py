#!/usr/bin/env python3
"""Runs libFuzzer targets of build/fuzz, keeps the inputs that add coverage in fuzz/corpus, and adds the number of runs to
the table in docs/reliability.md.

Usage: fuzz/run.py RUNS [SUBSYSTEM ...]     by default all, one after another

Runs come in rounds of one process each, since the library keeps its tables until the process ends. Long calls take
most of the time: they have one round in eight, which begins with what the others found.
"""
import itertools
import os
import re
import shutil
import subprocess
import sys
import time
from datetime import date
from pathlib import Path

FUZZ = Path(__file__).resolve().parent
BUILD = FUZZ.parent / "build/fuzz"
PAGE = FUZZ.parent / "docs/reliability.md"
ROUND = 500_000
MAX_OPERATIONS = [10_000] * 7 + [100_000]  # of a call, round by round
# Bytes choose settings from tables, so that comparisons seen in the library say little about them: without a record of
# these, and without weights for rare inputs, as much is reached in a half to a quarter of the time.
OPTIONS = ["-max_len=96", "-use_value_profile=0", "-use_cmp=0", "-entropic=0", "-print_final_stats=1", "-timeout=30",
           "-rss_limit_mb=3000", f"-artifact_prefix={BUILD}/"]


def unpack(text: Path, folder: Path) -> None:
    folder.mkdir(parents=True, exist_ok=True)
    for i, line in enumerate(text.read_text().split() if text.exists() else []):
        (folder / f"kept{i}").write_bytes(bytes.fromhex(line))


def fuzz(target: Path, folder: Path, runs: int) -> int:
    done = 0
    for limit in itertools.cycle(MAX_OPERATIONS):
        if done >= runs:
            break
        command = [target, f"-runs={min(ROUND, runs - done)}", *OPTIONS, folder]
        log = subprocess.run(command, stderr=subprocess.PIPE, text=True, errors="replace",
                             env={**os.environ, "FUZZ_MAX_OPERATIONS": str(limit)})
        if log.returncode != 0:
            sys.exit(log.stderr[-6000:])
        done += int(re.search(r"number_of_executed_units: (\d+)", log.stderr)[1])
        print(f"{target.name}: {done} runs, {re.findall('cov: [0-9]+ ft: [0-9]+', log.stderr)[-1]}", flush=True)
    return done


def record(subsystem: str, runs: int) -> None:
    """Adds to the target's row: the runs in all, and those on the present src/, by the name of its tree in git."""
    tree = subprocess.run(["git", "-C", FUZZ, "rev-parse", "--short", "HEAD:src"], capture_output=True, text=True).stdout

    def add(row: re.Match) -> str:
        in_all, present = (int(count.replace(",", "")) for count in row.group(1, 2))
        present = present + runs if row[3] == tree.strip() else runs
        return f"| {subsystem} | {in_all + runs:,} | {present:,} | {tree.strip()} | {date.today()} |"

    row = rf"^\| {subsystem} \| ([\d,]+) \| ([\d,]+) \| (\w+) \| [\d-]+ \|$"
    PAGE.write_text(re.sub(row, add, PAGE.read_text(), flags=re.MULTILINE))


def pack(target: Path, folder: Path, text: Path) -> None:
    kept = folder.with_name(folder.name + ".kept")
    shutil.rmtree(kept, ignore_errors=True)
    kept.mkdir()
    # By the code that they reach, not by how often.
    subprocess.run([target, "-merge=1", "-use_counters=0", *OPTIONS, kept, folder], stderr=subprocess.DEVNULL, check=True)
    lines = sorted((file.read_bytes().hex() for file in kept.iterdir()), key=lambda line: (len(line), line))
    text.write_text("".join(f"{line}\n" for line in lines if line))
    print(f"{text.name}: {len(lines)} inputs, {text.stat().st_size} bytes", flush=True)


def main() -> None:
    for subsystem in sys.argv[2:] or ["api", "fft", "filter", "mel", "stft"]:
        target = BUILD / f"fuzz_{subsystem}"
        folder = BUILD / "corpus" / subsystem
        text = FUZZ / "corpus" / f"{subsystem}.txt"
        start = time.monotonic()
        unpack(text, folder)
        runs = fuzz(target, folder, int(sys.argv[1]))
        print(f"{subsystem}: {runs} runs in {time.monotonic() - start:.0f} s", flush=True)
        if runs:
            record(subsystem, runs)
        pack(target, folder, text)


main()
