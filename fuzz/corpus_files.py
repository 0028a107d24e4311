#!/usr/bin/env python3
"""Runs the commands of python -m kelvo_audio over broken, truncated and hostile recordings, manifests and features.

Usage: fuzz/corpus_files.py RUNS [--seed N] [--round]     with python/ in PYTHONPATH and KELVO_AUDIO_LIBRARY set

Each run damages some files of a small corpus and its results, by its own seed, and calls one command. It ends with 0,
or with 1 or 2 and a sentence; recordings, and what lies beside the folder of results, stay as they are. Rounds run in
processes of their own. A failing run leaves its files in build/fuzz/corpus_files and prints its seed: RUNS 1 with that
seed runs it again.
"""
import argparse
import contextlib
import faulthandler
import io
import json
import mmap
import os
import random
import resource
import shutil
import subprocess
import sys
import tempfile
import time
import traceback
import warnings
from pathlib import Path

import numpy as np

try:
    import soundfile
    import tqdm  # noqa: F401
except ImportError:
    print("python3-soundfile or python3-tqdm is missing")
    sys.exit(77)

from kelvo_audio import __main__ as program
from kelvo_audio.corpus import schedulers

LEFT = Path(__file__).resolve().parents[1] / "build/fuzz/corpus_files"
ROUND, ROUND_SECONDS = 500, 600
VALUES = [None, True, -1, 0, 2**63, 1e308, float("nan"), "", "x", "../../beside/kept.wav", "/etc/passwd", "\0",
          "é" * 300, [], [[]], {}, {"mel_n": -1}, {"out": 5}, {"mel_n": 10**9}, "whisper", "librosa", "mean", "0"]


def make_corpus(top):
    """A folder of recordings, one of results, and one beside them."""
    noise = np.random.default_rng(3).standard_normal(3000) * 0.1
    for name, rate in (("a/1.wav", 16000), ("a/2.flac", 8000), ("3.wav", 22050), ("4.ogg", 16000)):
        path = top / "recordings" / name
        path.parent.mkdir(parents=True, exist_ok=True)
        soundfile.write(path, noise[:2000] if name == "3.wav" else noise, rate)
    (top / "beside").mkdir()
    soundfile.write(top / "beside/kept.wav", noise, 16000)
    shutil.copy(top / "beside/kept.wav", top / "beside/kept.partial")
    run_command(["corpus", str(top / "recordings"), "-o", str(top / "features")])


def run_command(words):
    """Exit code and what was told."""
    told = io.StringIO()
    with contextlib.redirect_stdout(told), contextlib.redirect_stderr(told):
        try:
            code = program.main(words)
        except SystemExit as end:
            code = end.code
            if isinstance(code, str):
                told.write(code)
                code = 1
    return code, told.getvalue()


def damage_json(text, draw):
    """One value of one line replaced, removed, or the line put twice."""
    lines = text.splitlines()
    at = draw.randrange(len(lines)) if lines else 0
    try:
        row = json.loads(lines[at])
        key = draw.choice(sorted(row))
    except (ValueError, IndexError, TypeError):
        return text
    way = draw.randrange(5)
    if way == 0:
        del row[key]
    elif way == 1:
        lines.append(lines[at])
    elif way == 2:
        row = draw.choice(VALUES)
    else:
        row[key] = draw.choice(VALUES)
    lines[at] = json.dumps(row)
    return "\n".join(lines) + "\n"


def damage(path, draw, top):
    content = path.read_bytes() if path.is_file() else b""
    way = draw.choice(["cut", "flip", "flip", "insert", "empty", "remove", "folder", "link", "outside", "text",
                       "json", "json", "json"])
    if path.is_dir():
        return f"{path.name} is a folder"
    if way == "cut":
        path.write_bytes(content[: draw.randrange(len(content) + 1)])
    elif way == "flip":
        changed = bytearray(content)
        # Mostly in the header, where formats keep their lengths.
        for _ in range(draw.choice([1, 1, 2, 8]) if changed else 0):
            at = draw.randrange(min(len(changed), draw.choice([64, 200, 10**9])))
            changed[at] = draw.choice([0, 1, 127, 128, 255, draw.randrange(256)])
        path.write_bytes(changed)
    elif way == "insert":
        at = draw.randrange(len(content) + 1)
        path.write_bytes(content[:at] + draw.randbytes(draw.choice([1, 4, 999])) + content[at:])
    elif way == "empty":
        path.write_bytes(b"")
    elif way == "text":
        path.write_bytes(draw.choice([b"[" * 100_000 + b"\n", b"{}\n", b"null\n[]\n", b"\xff\xfe\n",
                                      b"1" * 5000 + b"\n", b"\x93NUMPY\x01\x00v\x00"]))
    elif way == "json":
        with contextlib.suppress(UnicodeDecodeError):
            path.write_text(damage_json(content.decode(), draw))
    else:
        path.unlink()
        if way == "folder":
            path.mkdir()
            (path / "inner").touch()
        elif way == "link":
            path.symlink_to(draw.choice([top / "beside", top / "beside/kept.wav", path, top / "nowhere"]))
        elif way == "outside":
            path.with_name(f"{path.name}.partial").symlink_to(draw.choice([top / "beside", top / "beside/kept.wav"]))
    return f"{way} {path.relative_to(top)}"


def state_of(folder):
    """All that lies below, links not followed."""
    return {str(path): os.readlink(path) if path.is_symlink() else path.read_bytes() if path.is_file() else None
            for path in sorted(folder.rglob("*"))}


def run_once(seed, whole):
    """What is wrong, or nothing."""
    draw = random.Random(seed)
    LEFT.parent.mkdir(parents=True, exist_ok=True)
    shutil.rmtree(LEFT, ignore_errors=True)
    shutil.copytree(whole, LEFT)
    manifest = LEFT / "features/manifest.jsonl"
    manifest.write_text(manifest.read_text().replace(str(whole), str(LEFT)))
    recordings = [path for path in (LEFT / "recordings").rglob("*") if path.is_file()]
    results = [path for path in (LEFT / "features").rglob("*") if path.is_file()]
    files = [manifest] * 4 + sorted(recordings) + sorted(results)
    chosen = {draw.choice(files) for _ in range(draw.choice([1, 1, 2, 4]))}
    done = [damage(path, draw, LEFT) for path in sorted(chosen)]
    recording = str(draw.choice(sorted(recordings)))  # perhaps no file any more
    words = draw.choice([
        ["corpus", str(LEFT / "recordings"), "-o", str(LEFT / "features")],
        ["corpus", str(LEFT / "recordings"), "-o", str(LEFT / "features")],
        ["corpus", "-o", str(LEFT / "features"), "--verify"], ["corpus", "-o", str(LEFT / "features"), "--verify"],
        ["features", recording, "-o", str(LEFT / "x.npy")], ["info", recording],
        ["resample", recording, str(LEFT / "x.wav"), "--rate", draw.choice(["16000", "1", "0", "2147483647"])]])
    kept = [(folder, state_of(folder)) for folder in (LEFT / "recordings", LEFT / "beside")]
    try:
        code, told = run_command(words)
    except BaseException:
        return f"{done}\n{words}\n{traceback.format_exc()}"
    if code not in (0, 1, 2) or (code != 0 and len(told.strip()) < 10) or "Traceback" in told:
        return f"{done}\n{words}\nstatus {code}: {told}"
    for folder, before in kept:
        if state_of(folder) != before:
            return f"{done}\n{words}\n{folder.name} was changed"
    is_complete = words[0] == "corpus" and "--verify" not in words and "kelvo_audio:" not in told
    if is_complete and list((LEFT / "features").rglob("*.partial")):
        return f"{done}\n{words}\nparts are left: {told}"
    return None


def run_round(seed, run_n):
    faulthandler.enable()
    warnings.simplefilter("ignore")
    # In this process: new ones for each run would take all of the time.
    schedulers.local = lambda work, tasks, worker_n=None: (work(task) for task in tasks)
    own = int(Path("/proc/self/statm").read_text().split()[0]) * mmap.PAGESIZE
    resource.setrlimit(resource.RLIMIT_AS, (own + (400 << 20),) * 2)
    with tempfile.TemporaryDirectory() as folder:
        make_corpus(Path(folder))
        for each in range(seed, seed + run_n):
            print(f"seed {each}", file=sys.stderr)
            if fault := run_once(each, Path(folder)):
                print(f"seed {each}: {fault}")
                return 1
    shutil.rmtree(LEFT)
    return 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("runs", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--round", action="store_true")
    options = parser.parse_args()
    if options.round:
        sys.exit(run_round(options.seed, options.runs))
    start = time.monotonic()
    for done in range(0, options.runs, ROUND):
        words = [str(min(ROUND, options.runs - done)), "--seed", str(options.seed + done), "--round"]
        try:
            child = subprocess.run([sys.executable, __file__, *words], capture_output=True, text=True,
                                   timeout=ROUND_SECONDS)
        except subprocess.TimeoutExpired as error:
            sys.exit(f"hangs: {str(error.stderr)[-30:]}")
        if child.returncode != 0:
            sys.exit(f"status {child.returncode}\n{child.stdout or child.stderr[-1500:]}\nleft in {LEFT}")
    rate = options.runs / (time.monotonic() - start)
    print(f"corpus_files: {options.runs} runs, seeds from {options.seed}, {rate:.0f} a second")


main()
