#!/usr/bin/env python3
"""Mutation testing: changes one line of src/ at a time and checks whether a test fails.

Usage: tests/mutants/mutants.py [COUNT [SEED]]     100 mutants of seed 1 by default

Builds a copy of the tree in build/mutants. A mutant that does not compile, or to the same programs as the unchanged
tree, is replaced by another; one on which the tests take too long counts as killed.
"""
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TREE = ROOT / "build/mutants/tree"
PROGRAMS = ["kelvo_audio_tests", "kelvo_audio_reliability_tests"]
# Folder, settings, and the seconds of CPU time that a program may take; unchanged code takes a sixth of them.
QUICK = (ROOT / "build/mutants/build", ["-DKELVO_AUDIO_MAX_LEVEL=sse2"], 60)
# For survivors: wider kernels, which have incomplete batches, and checks of every access.
THOROUGH = (ROOT / "build/mutants/checked",
            ["-DKELVO_AUDIO_MAX_LEVEL=avx2", "-DKELVO_AUDIO_SANITIZE=address,undefined"], 300)
WAIT_LIMIT = 600  # seconds, for programs that wait without using CPU time
# Without code for other machines and the detection of the CPU: such mutants always survive.
LEFT_OUT = {"src/simd/level.cpp", "src/simd/level.h", "src/simd/kernel_level.h", "src/api/module_entry.cpp"}

# (name, what to find, what to put in its place)
OPERATORS = [
    ("less to less or equal", r" < (?!=)", " <= "),
    ("less or equal to less", r" <= ", " < "),
    ("greater to greater or equal", r" > (?!=)", " >= "),
    ("greater or equal to greater", r" >= ", " > "),
    ("equal to unequal", r" == ", " != "),
    ("unequal to equal", r" != ", " == "),
    ("bound + 1", r"( [<>]=? )([\w.()]+)(?=[;,)])", r"\1\2 + 1"),
    ("bound - 1", r"( [<>]=? )([\w.()]+)(?=[;,)])", r"\1\2 - 1"),
    ("plus to minus", r" \+ ", " - "),
    ("minus to plus", r" - ", " + "),
    ("times to plus", r" \* (?=[\w(])", " + "),
    ("minimum to maximum", r"\bmin\(", "max("),
    ("maximum to minimum", r"\bmax\(", "min("),
    ("swapped operands", r"\b(min|max|Min|Max|SelectLess)\(([\w.\[\]]+), ([\w.\[\]]+)", r"\1(\3, \2"),
    ("negation dropped", r"(?<=[(,=] )-(?=[\w(])|(?<=[(])-(?=[\w(])|(?<=[( ])!(?=[\w(])", ""),
    ("and to or", r" && ", " || "),
    ("or to and", r" \|\| ", " && "),
    ("constant + 1", r"(?<![\w.])(\d+)(?=[;,)\]])", lambda m: str(int(m[1]) + 1)),
    ("float constant changed", r"(?<![\w.])(\d+\.\d+f?)\b", r"1.0001f * \1"),
    ("sum reordered", r"= ([\w.\[\]()]+) \+ ([\w.\[\]()]+) \+ ([\w.\[\]()]+);", r"= \1 + (\2 + \3);"),
    ("product contracted", r"\b([\w.\[\]]+) \* ([\w.\[\]]+) \+ ([\w.\[\]]+)(?=[;)])",
     r"Contracted(\1, \2, \3)"),
]
# Fused where the operands allow it, so that the operator above compiles for numbers and lanes alike.
CONTRACTED = """
#ifndef KELVO_CONTRACTED
#define KELVO_CONTRACTED
namespace kelvo {
[[gnu::always_inline]] inline float Contracted(float a, float b, float c) { return __builtin_fmaf(a, b, c); }
[[gnu::always_inline]] inline double Contracted(double a, double b, double c) { return __builtin_fma(a, b, c); }
template <class Lane>
  requires requires(Lane lane) { lane.v; }
[[gnu::always_inline]] inline Lane Contracted(Lane a, Lane b, Lane c) { return Lane{Contracted(a.v, b.v, c.v)}; }
}  // namespace kelvo
#endif
"""


def read_sources() -> dict[str, str]:
    names = (str(path.relative_to(TREE)) for path in sorted((TREE / "src").rglob("*.*")))
    return {name: (TREE / name).read_text() for name in names if name.endswith((".cpp", ".h"))}


def candidates(sources: dict) -> list:
    found = []
    for name, text in sources.items():
        if name in LEFT_OUT:
            continue
        for number, line in enumerate(text.splitlines()):
            code = line.split("//")[0]
            if code.lstrip().startswith(("#", "template", "static_assert", "using", "class", "struct")) or '"' in code:
                continue
            for operator, pattern, replacement in OPERATORS:
                found += [(name, number, operator, match.start(), match.re, replacement)
                          for match in re.finditer(pattern, code)]
    return found


def sample(found: list, seed: int):
    """Draws lines first, then their mutations: otherwise most mutants would come from long expressions."""
    lines = {}
    for mutant in found:
        lines.setdefault(mutant[:2], []).append(mutant)
    order = random.Random(seed)
    keys = sorted(lines)
    order.shuffle(keys)
    for key in keys:
        yield order.choice(lines[key])


def change(mutant: tuple, text: str) -> tuple[str, str, str]:
    name, number, operator, start, pattern, replacement = mutant
    lines = text.splitlines()
    before = lines[number]
    match = pattern.match(before, start)
    into = replacement(match) if callable(replacement) else match.expand(replacement)
    lines[number] = before[:start] + into + before[match.end():]
    head = [CONTRACTED] if operator == "product contracted" else []
    at = next(i for i, line in enumerate(lines) if line.startswith("namespace")) if head else 0
    return "\n".join(lines[:at] + head + lines[at:]) + "\n", before.strip(), lines[number].strip()


def copy_tree() -> None:
    listing = subprocess.run(["git", "-C", ROOT, "ls-files", "-co", "--exclude-standard"], capture_output=True, text=True)
    for name in listing.stdout.split():
        target = TREE / name
        target.parent.mkdir(parents=True, exist_ok=True)
        # Equal files keep their time stamp, so that nothing is rebuilt needlessly.
        if not target.exists() or target.read_bytes() != (ROOT / name).read_bytes():
            shutil.copyfile(ROOT / name, target)


def configure(suite: tuple) -> list[bytes]:
    folder, settings, _ = suite
    subprocess.run(["cmake", "-S", TREE, "-B", folder, "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O1",
                    "-DKELVO_AUDIO_BUILD_TESTS=ON", *settings], check=True, stdout=subprocess.DEVNULL)
    programs = build(suite)
    if not programs or killer(suite):
        sys.exit(f"the unchanged tree does not build or pass in {folder}")
    return programs


def build(suite: tuple) -> list[bytes]:
    """The programs; none where the compiler refuses."""
    command = ["cmake", "--build", suite[0], "--parallel", str(os.cpu_count()), "--target", *PROGRAMS]
    result = subprocess.run(command, capture_output=True, text=True)
    return [(suite[0] / program).read_bytes() for program in PROGRAMS] if result.returncode == 0 else []


def killer(suite: tuple) -> str:
    """How the mutant was noticed: by a test, a crash, a time-out, or not at all."""
    folder, _, seconds = suite
    for program in PROGRAMS:
        command = [folder / program, "--gtest_fail_fast", "--gtest_brief=1"]
        try:
            run = subprocess.run(command, capture_output=True, text=True, errors="replace", cwd=folder,
                                 timeout=WAIT_LIMIT,
                                 preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1)))
        except subprocess.TimeoutExpired:
            return "time-out"
        if run.returncode == -signal.SIGXCPU:
            return "time-out"
        if run.returncode != 0:
            failed = re.search(r"\[  FAILED  \] ([\w/.]+)", run.stdout)
            return failed[1] if failed else f"crash of {program}"
    return ""


def main() -> None:
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 100
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    copy_tree()
    unchanged = configure(QUICK)
    configure(THOROUGH)
    sources = read_sources()
    killed, done = 0, 0
    for mutant in sample(candidates(sources), seed):
        if done == count:
            break
        start = time.monotonic()
        text, before, after = change(mutant, sources[mutant[0]])
        target = TREE / mutant[0]
        target.write_text(text)
        programs = build(QUICK)
        by = killer(QUICK) if programs and programs != unchanged else None
        if by == "" and build(THOROUGH):
            by = killer(THOROUGH)
        target.write_text(sources[mutant[0]])
        if by is None:
            continue
        done += 1
        killed += bool(by)
        print(f"{done:3} {mutant[0]}:{mutant[1] + 1} {mutant[2]} ({time.monotonic() - start:.0f} s): {by or 'SURVIVED'}",
              flush=True)
        if not by:
            print(f"      {before}\n   -> {after}", flush=True)
    print(f"{killed} of {done} killed")


main()
