"""Writes, or with --check compares, the hashes of what the native library gives for the calls of calls.json, which are
all functions. Prints one SHA-256 over them: the live page shows the same one.

Usage: make.py [--check] with the Python package in PYTHONPATH and KELVO_AUDIO_LIBRARY set

Each row of calls.json is [function, arguments, options]. An argument of the form {"noise": shape, "seed": n} is an array
of pseudo-random numbers, complex where it says so, and "scale" multiplies them; other arguments are what they are. Names
are those of JavaScript; the Python package has the same ones in its own spelling.
"""
import hashlib
import json
import re
import sys
import warnings
from pathlib import Path

import numpy as np

import kelvo_audio as ka

FOLDER = Path(__file__).parent
MODES = {"winType": ka.Window, "center": ka.Center, "normType": ka.Norm, "fftNormType": ka.Norm, "melNorm": ka.MelNorm,
         "melFormula": ka.MelFormula, "phaseForm": ka.Phase, "padType": ka.Pad}


def snake(name):
    return re.sub("[A-Z]", lambda letter: "_" + letter.group().lower(), name)


def noise(count, seed):
    """Floats in -1 .. 1 with 24 bits, from a generator that every language has exactly."""
    state, values = seed, np.empty(count, np.float32)
    for i in range(count):
        state = (state * 1664525 + 1013904223) % 2**32
        values[i] = (state >> 8) / 2**23 - 1
    return values


def argument(value):
    if not isinstance(value, dict):
        return value
    shape = value["noise"] if isinstance(value["noise"], list) else [value["noise"]]
    parts = 2 if value.get("complex") else 1
    values = noise(int(np.prod(shape)) * parts, value["seed"]) * np.float32(value.get("scale", 1))
    return values.view(np.complex64).reshape(shape) if parts == 2 else values.reshape(shape)


def option(name, value):
    return MODES[name][snake(value).upper()] if name in MODES else argument(value)


def result_bytes(result):
    if isinstance(result, tuple):
        return b"".join(map(result_bytes, result))
    return np.asarray(result, np.int32 if isinstance(result, int) else None).tobytes()


def main():
    warnings.simplefilter("ignore")  # of signals too short for a frame, which are meant here
    hashes = []
    for function, arguments, options in json.loads((FOLDER / "calls.json").read_text()):
        result = getattr(ka, snake(function))(*map(argument, arguments),
                                              **{snake(name): option(name, value) for name, value in options.items()})
        hashes.append(hashlib.sha256(result_bytes(result)).hexdigest())
    certificate = hashlib.sha256("\n".join(hashes).encode()).hexdigest()
    stored = FOLDER / "hashes.json"
    if "--check" not in sys.argv:
        stored.write_text(json.dumps(hashes, indent=0) + "\n")
    elif hashes != json.loads(stored.read_text()):
        sys.exit(f"SHA-256 {certificate}: the native library gives other bits than stored; run make.py")
    print(f"SHA-256 {certificate}")


main()
