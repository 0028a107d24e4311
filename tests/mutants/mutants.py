#!/usr/bin/env python3
"""Mutation testing: changes one line of src/ at a time and looks whether a test fails.

Usage: tests/mutants/mutants.py every [PATTERN ...]    all mutants of these files, by default of those in EVERY
       tests/mutants/mutants.py draw COUNT SEED        one mutant each of COUNT lines of src/
Options: --jobs N     so many mutants at a time, each in a copy of the tree; 1 by default
         --again      runs the survivors again, after tests were added
         --summary    runs nothing, and tells what earlier runs found

A run takes hours and may be stopped at any time: the same command goes on where it stopped. build/mutants/journal has
a line for each mutant that was run, with a hash of its source file; where a file has changed, its mutants run again.

A mutant is built with kernels up to SSE2 and little optimized. The tests of its folder run first, with those that
killed other mutants of the file and the stored hashes of all results, then what else is in kelvo_audio_tests and
kelvo_audio_reliability_tests, and kelvo_audio_module_tests. What survives runs in a release build, as ./test.sh makes
it, and at last in a thorough one: all kernel levels, of which the wider ones have incomplete batches, the address and
undefined-behaviour sanitizers, and the standard library's assertions. What ./test.sh runs beside these programs
(Python, JavaScript, the package) is left out.

Mutants that do not compile, or to the same programs as the unchanged tree, do not count; a draw replaces them. One on
which the tests take too long counts as killed. equivalent.txt lists mutants that change no result, with the reason;
they run last, with the tests that run first, in search of one that contradicts.
"""
import argparse
import fnmatch
import hashlib
import json
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
WORK = ROOT / "build/mutants"
EQUIVALENT = Path(__file__).with_name("equivalent.txt")
# Window, mel scale and bank, frame arithmetic, filter state, resampler design, argument checks.
EVERY = ["src/stft/window.*", "src/mel/mel_filter_bank.*", "src/stft/frames.*", "src/base/int_math.h",
         "src/base/extension.*", "src/filter/coefficients.*", "src/filter/zero_phase_filter.*",
         "src/filter/linear_filter.*", "src/filter/resample.*", "src/*/checks.cpp", "src/fft/checks.h",
         "src/*/exports.cpp", "src/api/*"]
# The detection of the CPU: such mutants always survive.
LEFT_OUT = {"src/simd/level.cpp", "src/simd/level.h", "src/simd/kernel_level.h"}
# A file that a script prints, and the test that compares the two: no other is needed.
PRINTED = {"src/math/tables.h": "tests/project/math_tables.py"}

# The programs, and the file of each that differs where a mutant does.
PROGRAMS = {"kelvo_audio_tests": "kelvo_audio_tests",
            "kelvo_audio_reliability_tests": "kelvo_audio_reliability_tests",
            "kelvo_audio_module_tests": "libkelvo_audio.so"}
LITTLE_OPTIMIZED = "-DCMAKE_CXX_FLAGS_RELEASE=-O1"
# Folder, settings, the seconds of CPU time that a program may take, of which unchanged code takes a sixth, and how many
# of the five parts of the tests run.
QUICK = ("quick", [LITTLE_OPTIMIZED, "-DKELVO_AUDIO_MAX_LEVEL=sse2"], 60, 5)
BRIEF = (*QUICK[:3], 2)
RELEASE = ("release", [], 120, 5)
THOROUGH = ("thorough", [LITTLE_OPTIMIZED, "-DCMAKE_CXX_FLAGS=-D_GLIBCXX_ASSERTIONS",
                         "-DKELVO_AUDIO_SANITIZE=address,undefined,float-cast-overflow"], 400, 4)
# What is said of a mutant that a suite does not notice.
UNNOTICED = {"quick": "waits", "release": "remains", "thorough": "survived"}
KILLED = tuple(UNNOTICED)
WAIT_LIMIT = 600  # seconds, for programs that wait without using CPU time


def next_float(match: re.Match) -> str:
    suffix = "f" if match[1].endswith("f") else ""
    if set(match[1]) <= set("0.f"):
        return "1.0" + suffix
    return f"(1.0f + 0x1p-23f) * {match[1]}" if suffix else f"(1.0 + 0x1p-52) * {match[1]}"


# (name, what to find, what to put in its place)
OPERATORS = [
    ("less to less or equal", r" < (?!=)", " <= "),
    ("less or equal to less", r" <= ", " < "),
    ("greater to greater or equal", r" > (?!=)", " >= "),
    ("greater or equal to greater", r" >= ", " > "),
    ("equal to unequal", r" == ", " != "),
    ("unequal to equal", r" != ", " == "),
    ("bound + 1", r"( [<>]=? )([a-z]\w*(?:\.\w+|\(\))*)(?=[;,)])", r"\1\2 + 1"),
    ("bound - 1", r"( [<>]=? )([a-z]\w*(?:\.\w+|\(\))*)(?=[;,)])", r"\1\2 - 1"),
    ("always", r"\bif \((?!!?true)", "if (true || "),
    ("never", r"\b(if|while) \(", r"\1 (false && "),
    ("always", r" \? ", " || true ? "),
    ("never", r" \? ", " && false ? "),
    ("check dropped", r"(?<=\{ )(?:Api::)?FailIf\(.*\);", ";"),
    ("call dropped", r"^ +(?!return)[\w:.>-]+\(.*\);$", ";"),
    ("plus to minus", r" \+ ", " - "),
    ("minus to plus", r" - ", " + "),
    ("times to plus", r" \* (?=[\w(])", " + "),
    ("quotient to product", r" / (?=[\w(])", " * "),
    ("minimum to maximum", r"\bmin\(", "max("),
    ("maximum to minimum", r"\bmax\(", "min("),
    ("swapped operands", r"\b(min|max|Min|Max|SelectLess)\(([\w.\[\]]+), ([\w.\[\]]+)", r"\1(\3, \2"),
    ("negation dropped", r"(?<=[(,=] )-(?=[\w(])|(?<=[(])-(?=[\w(])|(?<=[( ])!(?=[\w(])", ""),
    ("and to or", r" && ", " || "),
    ("or to and", r" \|\| ", " && "),
    # Beside those comparisons that are such a mutant already.
    ("constant + 1", r"(?<![\w.'])(?<! < )(?<! >= )(\d+)(?![\w.'])", lambda m: str(int(m[1]) + 1)),
    ("constant - 1", r"(?<![\w.'])(?<! > )(?<! <= )([1-9]\d*)(?![\w.'])", lambda m: str(int(m[1]) - 1)),
    ("constant + 1", r"\b(0x[0-9A-F]+)(?![\w.'])", r"(\1 + 1)"),
    ("next constant", r"(?<![\w.])(\d+\.\d+f?|0x[\d.a-f]+p[+-]\d+f?)\b", next_float),
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


def hash_of(text: str) -> str:
    return hashlib.sha256(text.encode()).hexdigest()[:16]


class Mutant:
    """Known by its file, the line before and after, and which of equal lines of the file it is."""

    def __init__(self, name: str, number: int, nth: int, operator: str, before: str, after: str):
        self.name, self.number, self.operator, self.after = name, number, operator, after
        self.line = (name, before.strip(), nth)
        self.key = (name, before.strip(), after.strip(), nth)
        self.any_key = (name, before.strip(), "*", nth)

    def text(self, source: str) -> str:
        lines = source.splitlines()
        lines[self.number] = self.after
        head = [CONTRACTED] if self.operator == "product contracted" else []
        at = next(i for i, line in enumerate(lines) if line.startswith("namespace")) if head else 0
        return "\n".join(lines[:at] + head + lines[at:]) + "\n"

    def describe(self) -> str:
        return f"{self.name}:{self.number + 1} {self.operator}\n  - {self.key[1]}\n  + {self.key[2]}"


def mutants_of(name: str, source: str):
    seen = {}
    for number, line in enumerate(source.splitlines()):
        nth = seen[line.strip()] = seen.get(line.strip(), 0) + 1
        # Texts stay as they are.
        code = re.sub(r'"[^"]*"', lambda match: '"' + "_" * (len(match[0]) - 2) + '"', line)
        code = re.sub(r" *//.*", "", code)
        if code.lstrip().startswith(("#", "template", "static_assert", "using", "class", "struct")):
            continue
        afters = set()
        for operator, pattern, into in OPERATORS:
            for match in re.finditer(pattern, code):
                new = into(match) if callable(into) else match.expand(into)
                after = line[:match.start()] + new + line[match.end():]
                if after not in afters:
                    yield Mutant(name, number, nth, operator, line, after)
                afters.add(after)


class Journal:
    """What is known of each mutant; the last line of a mutant counts."""

    def __init__(self, sources: dict):
        self.path, self.lock, self.known = WORK / "journal", threading.Lock(), {}
        self.hashes = {name: hash_of(text) for name, text in sources.items()}
        for line in self.path.read_text().splitlines() if self.path.exists() else []:
            entry = json.loads(line)
            if entry["source"] == self.hashes.get(entry["file"]):
                self.known[tuple(entry[part] for part in ("file", "before", "after", "nth"))] = entry

    def verdict(self, mutant: Mutant) -> str:
        return self.known.get(mutant.key, {}).get("verdict", "")

    def killers(self, name: str) -> list[str]:
        """The tests of the file's folder, and those that killed other mutants of it."""
        text = "".join(path.read_text() for path in ROOT.glob(f"tests/{name.split('/')[1]}/*_test.cpp"))
        suites = {f"*{suite}.*" for suite in re.findall(r"\bTEST(?:_[FP])?\((\w+),", text)}
        tests = {entry["by"] for key, entry in self.known.items() if key[0] == name and "." in entry["by"]}
        return sorted(suites | tests)

    def write(self, mutant: Mutant, verdict: str, by: str, seconds: float) -> None:
        name, before, after, nth = mutant.key
        earlier = self.known.get(mutant.key, {"verdict": "", "survived": False})
        # A test was added where a mutant is killed that survived once.
        has_waited = earlier["verdict"] in ("waits", "remains")
        added = verdict in KILLED and earlier["survived"] or verdict == "quick" and has_waited
        entry = {"file": name, "source": self.hashes[name], "before": before, "after": after, "nth": nth,
                 "operator": mutant.operator, "verdict": verdict, "by": by, "seconds": round(seconds), "added": added,
                 "survived": verdict == "survived" or earlier["survived"]}
        with self.lock:
            self.known[mutant.key] = entry
            with self.path.open("a") as file:
                file.write(json.dumps(entry) + "\n")
            print(f"{mutant.describe()}\n  {verdict} {by} ({seconds:.0f} s)", flush=True)


class Worker:
    """A copy of the tree, and its builds."""

    def __init__(self, index: int, suite: tuple, jobs: int):
        self.tree = WORK / f"{index}/tree"
        self.suite, self.settings, self.seconds, self.part_n = suite
        self.folder = WORK / f"{index}/{self.suite}"
        self.parallel = str(max(1, (os.cpu_count() or 1) // jobs))
        self.copy_tree()
        subprocess.run(["cmake", "-S", self.tree, "-B", self.folder, "-DCMAKE_BUILD_TYPE=Release",
                        "-DKELVO_AUDIO_BUILD_TESTS=ON", *self.settings,
                        *(["-GNinja"] if shutil.which("ninja") else [])],
                       check=True, stdout=subprocess.DEVNULL)
        self.unchanged = self.build()
        passed = self.folder / "passed"  # the programs that were seen to pass
        if not passed.exists() or passed.read_text() != str(self.unchanged):
            if not self.unchanged or self.killer([], []):
                sys.exit(f"the unchanged tree does not build or pass in {self.folder}")
            passed.write_text(str(self.unchanged))

    def copy_tree(self) -> None:
        listing = subprocess.run(["git", "-C", ROOT, "ls-files", "-co", "--exclude-standard"], capture_output=True,
                                 text=True, check=True)
        for name in filter(lambda name: (ROOT / name).is_file(), listing.stdout.splitlines()):
            target = self.tree / name
            target.parent.mkdir(parents=True, exist_ok=True)
            # Equal files keep their time stamp, so that nothing is rebuilt needlessly.
            if not target.exists() or target.read_bytes() != (ROOT / name).read_bytes():
                shutil.copyfile(ROOT / name, target)

    def build(self) -> list[str]:
        """Hashes of the programs; none where the compiler refuses."""
        command = ["cmake", "--build", self.folder, "--parallel", self.parallel, "--target", *PROGRAMS]
        if subprocess.run(command, capture_output=True).returncode != 0:
            return []
        return [hashlib.sha256((self.folder / file).read_bytes()).hexdigest() for file in PROGRAMS.values()]

    def killer(self, first: list[str], programs: list[str]) -> str:
        """How the mutant was noticed: by a test, a crash, a time-out, or not at all. The tests `first` run first."""
        own = ":".join(first)
        tests, reliability, module = PROGRAMS
        parts = [(tests, own or "-*"), (reliability, f"{own}:*GoldenHashes*"), (tests, f"-{own}"),
                 (reliability, f"-{own}:*GoldenHashes*"), (module, "*")]
        for program, chosen in parts[:self.part_n]:
            if self.unchanged[list(PROGRAMS).index(program)] in programs:
                continue
            command = [self.folder / program, "--gtest_fail_fast", "--gtest_brief=1", f"--gtest_filter={chosen}"]
            try:
                run = subprocess.run(command, capture_output=True, text=True, errors="replace", cwd=self.folder,
                                     timeout=WAIT_LIMIT, preexec_fn=self.limit)
            except subprocess.TimeoutExpired:
                return "time-out"
            if run.returncode == -signal.SIGXCPU:
                return "time-out"
            if run.returncode != 0:
                failed = re.search(r"\[  FAILED  \] ([\w/.]+)", run.stdout)
                return failed[1] if failed else f"crash of {program}"
        return ""

    def limit(self) -> None:
        resource.setrlimit(resource.RLIMIT_CPU, (self.seconds, self.seconds + 1))
        # Where a loop allocates without end, this is the process to be killed.
        Path("/proc/self/oom_score_adj").write_text("1000")

    def run(self, mutant: Mutant, source: str, journal: Journal) -> None:
        start = time.monotonic()
        target = self.tree / mutant.name
        target.write_text(mutant.text(source))
        comparison = PRINTED.get(mutant.name)
        is_other = comparison and subprocess.run([sys.executable, self.tree / comparison, self.tree]).returncode == 1
        programs = [] if is_other else self.build()
        if is_other:
            verdict, by = self.suite, Path(comparison).stem
        elif not programs or self.suite == "quick" and programs == self.unchanged:
            verdict, by = "void", ""
        elif by := self.killer(journal.killers(mutant.name), programs):
            verdict = self.suite
        else:
            verdict = UNNOTICED[self.suite]
        target.write_text(source)
        journal.write(mutant, verdict, by, time.monotonic() - start)


def run_all(mutants: list, suite: tuple, sources: dict, journal: Journal, jobs: int) -> None:
    waiting = iter(mutants)

    def work(worker: Worker) -> None:
        while True:
            with journal.lock:
                mutant = next(waiting, None)
            if mutant is None:
                return
            worker.run(mutant, sources[mutant.name], journal)

    jobs = min(jobs, len(mutants))
    threads = [threading.Thread(target=work, args=(Worker(index, suite, jobs),)) for index in range(jobs)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()


def draw(found: list, count: int, seed: int, journal: Journal) -> list:
    """Lines first, then their mutants, or most would come from long expressions. The order of the lines follows from
    each one's text, so that other lines' changes leave the drawn ones as they are."""
    lines = {}
    for mutant in found:
        lines.setdefault(mutant.line, []).append(mutant)
    order = sorted(lines, key=lambda line: hash_of(f"{seed} {line}"))
    chosen = (random.Random(f"{seed} {line}").choice(lines[line]) for line in order)
    counting = (mutant for mutant in chosen if journal.verdict(mutant) != "void")
    return [mutant for mutant, _ in zip(counting, range(count))]


def read_equivalent() -> set:
    """Blocks of a file ("2 FILE" for the second of equal lines), the line before, those after or *, and the reason."""
    blocks = [block.splitlines() for block in EQUIVALENT.read_text().split("\n\n")[1:]]
    places = [(*block[0].split(), 1)[::-1] if block[0].startswith("src/") else block[0].split() for block in blocks]
    return {(name, block[1][2:], line[2:], int(nth)) for (nth, name), block in zip(places, blocks)
            for line in block[2:] if line.startswith("+ ")}


def is_listed(mutant: Mutant, listed: set) -> bool:
    return not listed.isdisjoint({mutant.key, mutant.any_key})


def summarize(mutants: list, found: list, journal: Journal) -> None:
    listed = read_equivalent()
    for key in sorted(listed - {key for mutant in found for key in (mutant.key, mutant.any_key)}):
        print(f"listed, but the line is gone: {key[0]}\n  - {key[1]}\n  + {key[2]}")
    counts = dict.fromkeys([*KILLED, *UNNOTICED.values(), "added", "equivalent", "void", ""], 0)
    for mutant in mutants:
        verdict = journal.verdict(mutant)
        if verdict in KILLED and is_listed(mutant, listed):
            print(f"listed, but killed by {journal.known[mutant.key]['by']}: {mutant.describe()}")
        if verdict in KILLED and journal.known[mutant.key]["added"]:
            verdict = "added"
        elif verdict in UNNOTICED.values() and is_listed(mutant, listed):
            verdict = "equivalent"
        elif verdict == "survived":
            print(f"SURVIVED {mutant.describe()}")
        counts[verdict] += 1
    at_first = sum(counts[suite] for suite in KILLED)
    can_differ = at_first + counts["added"] + sum(counts[verdict] for verdict in UNNOTICED.values())
    print(f"{len(mutants) - counts['void']} mutants of {len({mutant.line for mutant in mutants})} lines: "
          f"{counts['equivalent']} change no result; of {can_differ} others {at_first} were killed at first "
          f"({100 * at_first / max(1, can_differ):.1f} %), {counts['release'] + counts['thorough']} of them by the "
          f"release and the thorough build alone, {counts['added']} by tests added since; {counts['survived']} survive, "
          f"{counts['waits'] + counts['remains']} wait for those builds, {counts['']} were not run")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("part", choices=["every", "draw"])
    parser.add_argument("arguments", nargs="*")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--again", action="store_true")
    parser.add_argument("--summary", action="store_true")
    options = parser.parse_args()
    sources = {str(path.relative_to(ROOT)): path.read_text() for path in sorted((ROOT / "src").rglob("*.*"))
               if path.suffix in (".cpp", ".h")}
    WORK.mkdir(parents=True, exist_ok=True)
    journal = Journal(sources)
    found = [mutant for name, text in sources.items() if name not in LEFT_OUT for mutant in mutants_of(name, text)]

    def select() -> list:
        if options.part == "draw":
            return draw(found, int(options.arguments[0]), int(options.arguments[1]), journal)
        return [mutant for pattern in options.arguments or EVERY for mutant in found
                if fnmatch.fnmatch(mutant.name, pattern)]

    if not options.summary:
        listed = read_equivalent()
        rerun = {m.key for m in select() if options.again and journal.verdict(m) in UNNOTICED.values()
                 and not is_listed(m, listed)}

        def to_run(are_listed: bool) -> list:
            return [m for m in select()
                    if (not journal.verdict(m) or m.key in rerun) and is_listed(m, listed) == are_listed]

        def left_by(suite: tuple) -> list:
            verdict = UNNOTICED[suite[0]]
            return [m for m in select() if journal.verdict(m) == verdict and not is_listed(m, listed)]

        while to_run(False) or left_by(QUICK) or left_by(RELEASE) or to_run(True):
            while chosen := to_run(False):  # again where a draw has replaced some
                rerun.clear()
                run_all(chosen, QUICK, sources, journal, options.jobs)
            run_all(left_by(QUICK), RELEASE, sources, journal, options.jobs)
            run_all(left_by(RELEASE), THOROUGH, sources, journal, options.jobs)
            run_all(to_run(True), BRIEF, sources, journal, options.jobs)
    summarize(select(), found, journal)


main()
