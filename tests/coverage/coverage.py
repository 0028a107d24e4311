#!/usr/bin/env python3
"""Builds the preset `coverage` (clang), runs the tests, and lists the lines and branches of src/ that they leave out.

Usage: tests/coverage/coverage.py [GTEST_FILTER]     by default all tests; 'Subsystems/FuzzCorpus*' for the corpus alone

A line or a branch counts as reached if any instance of its template reaches it, at any kernel level. Fails unless all
lines and branches are reached but those named below.
"""
import collections
import json
import os
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = ROOT / "build/coverage"
PROGRAMS = ["kelvo_audio_tests", "kelvo_audio_reliability_tests", "kelvo_audio_module_tests"]
MISCOUNTED = "reached, but behind a condition that is known at compile time"
# Lines that no test reaches: the file, a part of the line, and the reason.
EXCEPTIONS = [
    ("src/simd/level.cpp", "Level::neon", "other machines"),
    ("src/simd/level.cpp", "Level::simd128", "other machines"),
    ("src/simd/level.cpp", "__builtin_cpu_", "CPUs that lack a part of the level"),
    ("src/simd/level.cpp", "CpuHalvesWideVectors()", "other CPUs"),
    ("src/simd/level.cpp", "CpuHasSlowLastLevel()", "other CPUs"),
    ("src/math/words.h", "lanes = 0;", "vectors of other machines"),
    ("src/math/words.h", "lanes |=", "vectors of other machines"),
    ("src/math/words.h", "return lanes;", "vectors of other machines"),
    ("src/base/buffers.h", "throw std::bad_alloc", "counts that 64 bits hold on 32-bit machines alone"),
    ("src/base/mutex.cpp", "cache_n < kMaxCaches", "there are fewer caches than places for them"),
    ("src/math/words.h", "LooksUpInRegisters", "evaluated at compile time"),
    ("src/math/words.h", "return N == 8;", "evaluated at compile time"),
    ("src/math/words.h", "return false;", "evaluated at compile time"),
    ("src/math/groups.h", "LooksUpInRegisters", "evaluated at compile time"),
    ("src/filter/resample_kernels.cpp", "constexpr std::size_t Min(", "evaluated at compile time"),
    ("src/math/functions.cpp", "WideSin(static_cast<double>(x)", "no float is known that needs it"),
    ("src/math/functions.cpp", "0x1FFFFFFF) != 0x10000000", "no float is known that needs it"),
    ("src/fft/small_transform.h", "plan.pass_n == 2", "all plans of these lengths are such today"),
    ("src/fft/fft_kernels.h", "transform_n < 2 * RowStride", "transforms need as much today"),
    ("src/fft/fft_plan.cpp", "fft_n > 0", "callers check that first"),
    ("src/fft/single_transform.h", "first.span >= Floats::kSize", "no plan of today has so short a span there"),
    ("src/fft/single_transform.h", "passes[0].span >= 4", "no plan of today has so short a span there"),
    ("src/filter/linear_filter.cpp", "part < length", "the caller has signals of four filter lengths and more"),
    ("src/fft/plan_choice.cpp", "inner_n == 0", "a plan of gigabytes"),
    ("src/mel/mel_kernels.cpp", "kMostExact", "a matrix of gigabytes"),
    ("src/fft/butterflies.h", "return even ", MISCOUNTED),
    ("src/fft/passes.h", "return elements.template Load<Lane>(k);", MISCOUNTED),
    ("src/fft/convolution.h", "Include(x);", MISCOUNTED),
    ("src/stft/inverse_kernels.cpp", "i -= row_n;", MISCOUNTED),
]


def run_tests(gtest_filter: str) -> Path:
    for old in BUILD.glob("*.profraw"):
        old.unlink()
    for program in PROGRAMS:
        environment = os.environ | {"LLVM_PROFILE_FILE": str(BUILD / f"{program}.%m.profraw")}
        subprocess.run([BUILD / program, "--gtest_brief=1", f"--gtest_filter={gtest_filter}"], env=environment,
                       check=True, stdout=subprocess.DEVNULL)
    merged = BUILD / "coverage.profdata"
    subprocess.run(["llvm-profdata", "merge", "-o", merged, *BUILD.glob("*.profraw")], check=True)
    return merged


def export(merged: Path, *options: str) -> str:
    objects = [f"-object={BUILD / name}" for name in (*PROGRAMS[1:], "libkelvo_audio.so")]
    command = ["llvm-cov", "export", f"-instr-profile={merged}", *options, BUILD / PROGRAMS[0], *objects]
    command.append("-ignore-filename-regex=^/usr/|tests/")
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def source(name: str) -> Path | None:
    """The file below src/, whether the compiler was given a relative path or not."""
    below = Path("src", *name.rpartition("src/")[2].split("/"))
    return below if "src/" in name and (ROOT / below).exists() else None


def line_counts(merged: Path) -> dict:
    counts = collections.Counter()
    for record in export(merged, "-format=lcov").splitlines():
        kind, _, rest = record.partition(":")
        if kind == "SF":
            file = source(rest)
        elif kind == "DA" and file:
            number, count = rest.split(",")[:2]
            counts[file, int(number)] += int(count)
    return counts


def branch_counts(merged: Path) -> dict:
    """By (file, line, column, outcome). Conditions that depend on template arguments alone are left out."""
    counts = collections.Counter()
    for function in json.loads(export(merged, "-format=text"))["data"][0]["functions"]:
        for line, column, _, _, yes, no, file, *_ in function.get("branches", []):
            name = source(function["filenames"][file])
            if name:
                counts[name, line, column, "true"] += yes
                counts[name, line, column, "false"] += no
    other = {"true": "false", "false": "true"}
    return {key: count for key, count in counts.items() if count or counts[*key[:3], other[key[3]]]}


def report(what: str, counts: dict) -> bool:
    """Whether everything is reached but the exceptions."""
    missed, unexplained = 0, 0
    for file, *place in sorted(key for key, count in counts.items() if count == 0):
        text = (ROOT / file).read_text().splitlines()[place[0] - 1].strip()
        # Between the cases of a switch, and what belongs to the lines beside it.
        if text.startswith(("#", "//")) or text in ("}", "} else {"):
            continue
        why = [reason for name, part, reason in EXCEPTIONS if name == str(file) and part in text]
        print(f"{file}:{':'.join(map(str, place))}: {text}" + (f"  ({why[0]})" if why else ""))
        missed += 1
        unexplained += not why
    print(f"{len(counts) - missed} of {len(counts)} {what} ({100 - 100 * missed / len(counts):.2f} %), "
          f"{unexplained} of the rest without a reason\n")
    return unexplained == 0


def main() -> None:
    subprocess.run(["cmake", "--preset", "coverage"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", BUILD, "-j2", "--target", *PROGRAMS, "kelvo_audio"], check=True,
                   stdout=subprocess.DEVNULL)
    merged = run_tests(sys.argv[1] if len(sys.argv) > 1 else "*")
    is_complete = report("branches", branch_counts(merged))
    is_complete &= report("lines", line_counts(merged))
    sys.exit(not is_complete)


main()
