#!/usr/bin/env python3
"""Builds the tests with clang's -fsanitize=integer, which also reports what C++ defines, such as unsigned integers that
wrap; runs those of the library and of all exports, scalar and sse2, and lists the lines of src/ that are reported.

Usage: tests/reliability/integer.py     fails where a line is reported that is not named below
"""
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = ROOT / "build/integer"
PROGRAMS = ["kelvo_audio_tests", "kelvo_audio_reliability_tests"]
# The file, a part of the line, and why it is meant.
MEANT = [
    ("src/base/int_math.h", "static_cast<std::uint32_t>(a)", "ints that wrap around instead of overflowing"),
    ("src/base/mutex.cpp", "i-- > 0", "counts down past 0"),
    ("src/base/table_cache.h", "hash", "the hash of a key"),
    ("src/fft/convolution.h", "pass.span & -pass.span", "the largest power of two in a span"),
    ("src/fft/plan_choice.cpp", "pass.span & -pass.span", "the largest power of two in a span"),
    ("src/filter/recurrence.h", "filter.length - k", "signed after the cast"),
    ("src/math/groups.h", "k - kDelay < n", "a place before the first group is beyond the last one"),
    ("src/math/groups.h", "--group < n", "a place before the first group is beyond the last one"),
    ("src/math/wide.cpp", "mantissa << -shift", "the upper bits belong to another word"),
    ("src/math/words.h", "a.v << count", "shifts the words of doubles"),
    ("src/simd/lanes.h", "a.v + b.v", "sums of the words of doubles"),
    ("src/simd/lanes.h", "a.v - b.v", "sums of the words of doubles"),
    ("src/simd/lanes.h", "head_n = -(", "the floats up to the next cache line"),
    ("src/stft/inverse_spectrogram.cpp", "back-- > first_back", "counts down past 0"),
]


def main() -> None:
    subprocess.run(["cmake", "-S", ROOT, "-B", BUILD, "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_COMPILER=clang++",
                    "-DCMAKE_CXX_FLAGS=-fsanitize=integer", "-DKELVO_AUDIO_BUILD_TESTS=ON",
                    "-DKELVO_AUDIO_MAX_LEVEL=sse2"], check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", BUILD, "--parallel", "--target", *PROGRAMS], check=True,
                   stdout=subprocess.DEVNULL)
    places = set()
    for program in PROGRAMS:
        run = subprocess.run([BUILD / program, "--gtest_brief=1"], capture_output=True, text=True, errors="replace")
        if run.returncode != 0:
            sys.exit(f"{program} fails:\n{run.stdout[-3000:]}")
        places |= set(re.findall(rf"{ROOT}/(src/[\w/.]+):(\d+):(\d+): runtime error", run.stderr))
    unknown = 0
    for file, line, column in sorted(places, key=lambda place: (place[0], int(place[1]), int(place[2]))):
        text = (ROOT / file).read_text().splitlines()[int(line) - 1].strip()
        why = [reason for name, part, reason in MEANT if name == file and part in text]
        print(f"{file}:{line}:{column}: {text}" + (f"  ({why[0]})" if why else ""))
        unknown += not why
    print(f"{len(places)} places, {unknown} of them without a reason")
    sys.exit(not places or unknown > 0)


main()
