#!/usr/bin/env python3
"""Calls every function of the Python package, recipes included, with any object as any argument.

Usage: fuzz/python_arguments.py RUNS [--seed N] [--round N] [--verbose] [FUNCTION ...]
       with python/ in PYTHONPATH and KELVO_AUDIO_LIBRARY set

The only outcomes are a result, and an exception that the package documents: ValueError or TypeError whose text starts
with an argument's name, MemoryError, KelvoAudioError. Inputs stay as they are, arrays lie flush against unmapped pages,
out= gets the bits of a new array. Rounds run in processes of their own: after a crash, the round's seed is printed, and
--round with it runs that round again; --verbose prints every call. Failures are shrunk and kept in build/fuzz.
"""
import argparse
import array
import ctypes
import datetime
import decimal
import faulthandler
import fractions
import inspect
import mmap
import os
import resource
import signal
import subprocess
import sys
import time
import warnings
from pathlib import Path

import numpy as np

import kelvo_audio as ka
from kelvo_audio import recipes

FAILURES = Path(__file__).resolve().parents[1] / "build/fuzz/python_arguments.txt"
os.environ["HYPOTHESIS_STORAGE_DIRECTORY"] = str(FAILURES.with_name("hypothesis"))  # not in the working directory

try:
    import hypothesis
    from hypothesis import strategies as st
except ImportError:
    print("python3-hypothesis is missing")
    sys.exit(77)
ROUND, ROUND_SECONDS = 10_000, 300
FUNCTIONS = {name: getattr(ka, name) for name in ka.__all__ if inspect.isfunction(getattr(ka, name))}
RECIPES = {name: each for name, each in vars(recipes).items()
           if inspect.isfunction(each) and each.__module__ == recipes.__name__ and not name.startswith("_")}
FUNCTIONS |= RECIPES
# Settings that a recipe hands on.
HANDED_ON = {"griffin_lim": ["win_n", "win_type", "threads"], "log_mel": ["mel_n", "hop_n", "threads", "out"]}
HANDED_ON |= {name: ["hop_n", "win_n", "max_frame_n", "center", "power", "f_max", "threads", "out"] for name in RECIPES
              if "changed" in inspect.signature(RECIPES[name]).parameters and name not in HANDED_ON}
LIBC = ctypes.CDLL(None)


class Own(Exception):
    """What the hostile objects raise, and functions may let through."""


class Hostile:
    def fail(self, *_):
        raise Own

    __index__ = __float__ = __array__ = __len__ = __iter__ = __bool__ = __eq__ = __getitem__ = fail
    __hash__ = object.__hash__


class Lying:
    """An integer of another value at each look, an array of another shape."""

    def __init__(self):
        self.looks = 0

    def __index__(self):
        self.looks += 1
        return (3, 2**40, -1)[self.looks % 3]

    def __array__(self, dtype=None):
        self.looks += 1
        return np.ones(1 + self.looks % 5, dtype)


class Region:
    """Memory up to an unmapped page, which the arrays of one call take turns to use."""

    BYTES = 1 << 16

    def __init__(self):
        self.memory = mmap.mmap(-1, self.BYTES + mmap.PAGESIZE)
        address = ctypes.addressof(ctypes.c_char.from_buffer(self.memory))
        assert LIBC.mprotect(ctypes.c_void_p(address + self.BYTES), mmap.PAGESIZE, 0) == 0

    def copy(self, values):
        if values.nbytes > self.BYTES or values.dtype.hasobject:
            return values.copy()
        flat = np.frombuffer(self.memory, np.uint8, self.BYTES)
        flat[:] = 0xA5
        placed = flat[self.BYTES - values.nbytes :].view(values.dtype).reshape(values.shape)
        placed[...] = values
        return placed


REGIONS = [Region() for _ in range(8)]
next_region = 0


def guarded(values):
    global next_region
    next_region += 1
    return REGIONS[next_region % len(REGIONS)].copy(values)


LAYOUTS = {
    "plain": lambda a: guarded(a),
    "steps": lambda a: guarded(np.repeat(a, 2, -1))[..., ::2] if a.ndim else a,
    "backwards": lambda a: guarded(a[..., ::-1])[..., ::-1] if a.ndim else a,
    "columns first": lambda a: np.asfortranarray(a),
    "swapped bytes": lambda a: guarded(a.astype(a.dtype.newbyteorder())),
    "unaligned": lambda a: np.frombuffer(b"-" + a.tobytes(), a.dtype, offset=1).reshape(a.shape) if a.size else a,
    "read-only": lambda a: np.frombuffer(a.tobytes(), a.dtype).reshape(a.shape) if a.size else a,
    "zero stride": lambda a: np.broadcast_to(a[..., :1], a.shape) if a.ndim else a,
    "list": lambda a: a.tolist(),
    "matrix": lambda a: np.matrix(a) if a.ndim == 2 else a,
    "masked": lambda a: np.ma.masked_array(a, a == a),
    "memoryview": lambda a: memoryview(a) if a.size and a.dtype.kind in "fiubc" else a,
}
REAL_TYPES = ["f4"] * 6 + ["f8", "f2", "g", "i2", "u1", "?"]
COMPLEX_TYPES = ["c8"] * 6 + ["c16", "G"]
OTHER_TYPES = ["O", "U3", "S2", "M8[s]", "V4", "i4,f4"]
SPECIAL = [np.nan, np.inf, -np.inf, -0.0, 1e-45, 3e38, -1.0, 1e300]


@st.composite
def arrays(draw, shapes, types):
    shape, dtype = draw(shapes), np.dtype(draw(st.sampled_from(types)))
    with np.errstate(all="ignore"):
        values = np.random.default_rng(draw(st.integers(0, 9))).standard_normal(shape)
        if values.size and draw(st.booleans()):
            values.flat[:: draw(st.integers(1, 7))] = draw(st.sampled_from(SPECIAL))
        if dtype.kind in "iu":
            values = np.nan_to_num(values, posinf=0, neginf=0) * 50 % 100
        values = np.zeros(shape, dtype) if dtype.kind in "VMSU" else np.asarray(values).astype(dtype)
    layout = draw(st.sampled_from(["plain"] * 12 + list(LAYOUTS)))
    return values if dtype.kind in "VO" else LAYOUTS[layout](values)


def shapes(least, most):
    return st.lists(st.integers(0, 3), max_size=most - least).flatmap(
        lambda lead: st.lists(st.integers(1, 40), min_size=least, max_size=least).map(lambda own: (*lead, *own)))


def any_of(modes):
    return st.sampled_from([*modes, *(int(each) for each in modes)])


def itself(values):
    values.append(values)
    return values


INTEGERS = [-1, 0, 1, 2, 64, 65537, 2**24 + 1, 2**27, 2**27 + 1, 2**28, 2**30, 2**31 - 1, 2**31, 2**32, 2**63, 2**64,
            -2**31, -2**63 - 1, 10**30]
OBJECTS = st.one_of(
    st.sampled_from(INTEGERS), st.sampled_from(SPECIAL), st.integers(-5, 50), st.floats(width=32),
    arrays(shapes(0, 4), REAL_TYPES + COMPLEX_TYPES + OTHER_TYPES),
    st.sampled_from([10**400, -10**400, 1j, True, "", "x", "3", b"\xff", None, [], [[]], [[1], [2, 3]], {}, {"a": 1},
                     {1.0}, range(5), object(), int, print, fractions.Fraction(1, 3), decimal.Decimal("NaN"),
                     datetime.date(2000, 1, 1), np.float32(2.5), np.int64(3), np.array(3), np.array([3]),
                     np.float64("nan"), array.array("f", [1, 2]), bytearray(8), *ka.Window, *ka.Pad, *ka.Phase]),
    st.builds(itself, st.just([1.0]).map(list)), st.builds(Hostile), st.builds(Lying),
    st.builds(lambda: (i for i in range(3))), st.text(max_size=3), st.binary(max_size=3),
    st.lists(st.one_of(st.floats(), st.none(), st.text(max_size=1), st.complex_numbers()), max_size=4),
)

SIGNALS, MATRICES = arrays(shapes(1, 3), REAL_TYPES), arrays(shapes(2, 3), REAL_TYPES)
BINS, VALUES = arrays(shapes(2, 3), COMPLEX_TYPES), arrays(shapes(0, 3), REAL_TYPES)
COUNTS, SETTINGS = st.integers(1, 40), st.floats(0, 8, width=32)
USUAL = {
    "src": SIGNALS, "n_coef": arrays(shapes(1, 1), REAL_TYPES), "d_coef": arrays(shapes(1, 1), REAL_TYPES),
    "sos": arrays(st.integers(1, 3).map(lambda n: (n, 6)), REAL_TYPES), "fb_matrix": arrays(shapes(2, 2), REAL_TYPES),
    "zi": st.one_of(st.none(), arrays(shapes(1, 3), REAL_TYPES)),
    "axes": st.integers(1, 3), "threads": st.integers(1, 3), "hop_n": st.integers(0, 20),
    "win_type": any_of(ka.Window), "center": any_of(ka.Center), "norm_type": any_of(ka.Norm),
    "fft_norm_type": any_of(ka.Norm), "mel_norm": any_of(ka.MelNorm), "mel_formula": any_of(ka.MelFormula),
    "phase_form": any_of(ka.Phase), "pad_type": any_of(ka.Pad), "pad_len": st.integers(0, 30),
    "power": st.one_of(st.sampled_from([0, 1, 2]), SETTINGS), "ref": st.one_of(st.none(), SETTINGS),
    "f_min": SETTINGS, "f_max": st.one_of(st.none(), st.floats(100, 9000)), "top_db": SETTINGS, "thr_db": SETTINGS,
    "pad_value": st.one_of(st.just(0), st.floats(width=32)), "mel_n": st.integers(1, 12),
    "freq_n": st.integers(1, 60), "recipe": st.sampled_from(list(recipes.RECIPES)), "normalized": st.booleans(),
    "x": SIGNALS, "magnitude": MATRICES, "bins": BINS, "iteration_n": st.integers(0, 2), "momentum": SETTINGS,
    "sample_rate": st.sampled_from([8000, 16000, 44100]),
}
# Where src is none of signals along one axis.
SOURCES = {"ifft": arrays(shapes(1, 3), COMPLEX_TYPES), "inverse_spectrogram": BINS, "mag_phase": BINS,
           "complex_norm": arrays(shapes(0, 3), COMPLEX_TYPES), "fix_frame_len": st.one_of(BINS, MATRICES),
           "convert_to_mel": MATRICES, "power_to_db": VALUES, "log1p": VALUES, "standardize": VALUES}
INTEGER_SOURCE = arrays(shapes(0, 2), ["i1", "u1", "i2", "i4", "i8", "u8", ">i2", "f4"])


def parameters_of(name):
    """By name, those handed on included: whether they must be given."""
    own = inspect.signature(FUNCTIONS[name]).parameters.values()
    needed = {each.name: each.default is each.empty for each in own if each.kind is not each.VAR_KEYWORD}
    return needed | {each: False for each in HANDED_ON.get(name, []) if each not in needed}


@st.composite
def calls(draw, name):
    """Arguments for a function, at most two of them hostile."""
    parameters = parameters_of(name)
    names = [each for each in parameters if each != "out" or name in RECIPES]
    # Two thousand million iterations take as long as they take.
    hostile = draw(st.lists(st.sampled_from([each for each in names if each != "iteration_n"]), max_size=2))
    arguments = {}
    for each in names:
        usual = USUAL.get(each, COUNTS)
        if each == "src":
            usual = INTEGER_SOURCE if name.startswith("from_pcm") else SOURCES.get(name, SIGNALS)
        if each in hostile:
            arguments[each] = draw(OBJECTS)
        elif parameters[each] or (each != "out" and draw(st.booleans())):
            arguments[each] = draw(usual)
    # Filters' states and filter banks fit nothing by chance.
    source = arguments.get("src")
    if "zi" in arguments and "zi" not in hostile and isinstance(source, np.ndarray) and source.ndim:
        sizes = {each: arguments[each].size if isinstance(arguments.get(each), np.ndarray) else 1
                 for each in ("n_coef", "d_coef", "sos")}
        state = (sizes["sos"] // 6, 2) if "sos" in arguments else (max(sizes.values()) - 1,)
        arguments["zi"] = draw(arrays(st.just((*source.shape[:-1], *state)), REAL_TYPES))
    if "fb_matrix" in arguments and isinstance(source, np.ndarray) and source.ndim > 1 and draw(st.booleans()):
        arguments["fb_matrix"] = draw(arrays(st.just((draw(st.integers(1, 9)), source.shape[-2])), REAL_TYPES))
    return arguments


def bits(value):
    """What equal results have in common: floats with NaNs made equal."""
    if isinstance(value, tuple):
        return tuple(bits(each) for each in value)
    if not isinstance(value, np.ndarray):
        return value
    parts = np.ascontiguousarray(value).view(value.real.dtype)
    return value.shape, value.dtype, np.where(parts == parts, parts, 0).tobytes(), (parts == parts).tobytes()


def snapshot(arguments):
    return {name: (value.shape, np.asarray(value).tobytes()) for name, value in arguments.items()
            if isinstance(value, np.ndarray) and not value.dtype.hasobject}


def refusal(name, error):
    """The text of an exception that the package documents, or none if it must not leave it."""
    text = str(error)
    if isinstance(error, (MemoryError, Own, ka.KelvoAudioError)):
        return text or "-"
    if isinstance(error, (ValueError, TypeError)) and text.partition(":")[0] in {*parameters_of(name), "mfcc_n"}:
        return text
    return None


def outcome(name, arguments):
    """The result, or the exception; fails for any other exception and for a changed input."""
    before = snapshot(arguments)
    try:
        result = FUNCTIONS[name](**arguments)
    except Exception as error:
        assert refusal(name, error), f"{type(error).__name__}: {error}"
        assert snapshot(arguments) == before, f"a refused call wrote: {error}"
        return error
    after, out, source = snapshot(arguments), arguments.get("out"), arguments.get("src")
    written = {"out"}
    if isinstance(out, np.ndarray) and isinstance(source, np.ndarray) and out.ctypes.data == source.ctypes.data:
        if "may be src" in str(FUNCTIONS[name].__doc__) and out.dtype == source.dtype:
            written.add("src")
    for each in before.keys() - written:
        assert after[each] == before[each], f"{each} was written"
    return result


@st.composite
def outs(draw, result, arguments):
    """Arrays for out=: one that fits, one that does not, one that lies over an input."""
    if isinstance(result, tuple) and draw(st.booleans()):
        shared = np.zeros(4 * sum(each.nbytes for each in result) + 64, np.uint8)
        start = draw(st.sampled_from([0, 8, result[0].nbytes, result[0].nbytes + 8]))
        return tuple(shared[at : at + each.nbytes].view(each.dtype).reshape(each.shape)
                     for at, each in zip((0, start), result))
    if isinstance(result, tuple):
        return tuple(draw(outs(each, arguments)) for each in result)
    kind = draw(st.sampled_from(["fits"] * 4 + ["input"] * 4 + ["layout", "layout", "type", "shape", "any"]))
    sources = [arguments[each] for each in ("src", "n_coef", "d_coef", "sos", "zi", "fb_matrix")
               if isinstance(arguments.get(each), np.ndarray)]
    if kind == "input" and sources:
        base = draw(st.sampled_from(sources))
        if draw(st.booleans()):
            return base
        # Over the input's memory and what lies beside it, to the type and shape that fit.
        while isinstance(base.base, np.ndarray):
            base = base.base
        if base.flags.c_contiguous and base.nbytes >= result.nbytes and not base.dtype.hasobject:
            flat = np.asarray(base).reshape(-1).view(np.uint8)
            start = draw(st.integers(0, 9)) * 4
            start = flat.size - result.nbytes - min(start, flat.size - result.nbytes)
            return flat[start : start + result.nbytes].view(result.dtype).reshape(result.shape)
    if kind == "layout":
        return LAYOUTS[draw(st.sampled_from(list(LAYOUTS)))](result.copy())
    if kind == "type":
        return result.astype(draw(st.sampled_from(["f8", "c8", "f4", ">f4", "i4"])))
    if kind == "shape":
        return np.zeros(draw(shapes(0, 3)), result.dtype)
    if kind == "any":
        return draw(OBJECTS)
    return guarded(np.zeros(result.shape, result.dtype))


def check(name, data):
    arguments = data.draw(calls(name), name)
    with warnings.catch_warnings(), np.errstate(all="ignore"):
        warnings.simplefilter("ignore")
        result = outcome(name, arguments)
        if isinstance(result, Exception) or name in RECIPES or "out" not in parameters_of(name):
            return
        is_steady = not any(isinstance(value, Lying) or inspect.isgenerator(value) for value in arguments.values())
        expected = bits(result)
        has_state = arguments.get("zi") is not None
        out = data.draw(outs(result[0] if has_state else result, arguments), "out")
        again = outcome(name, {**arguments, "out": out})
        if is_steady and not isinstance(again, Exception):
            assert bits(again) == expected, "out= gives another result"


def run_round(seed, run_n, names, is_verbose):
    """Whether all calls of a round passed, spread evenly over the functions."""
    faulthandler.register(signal.SIGTERM, all_threads=True, chain=True)
    faulthandler.enable()
    # Absurd sizes are refused by the system instead of taking minutes.
    own = int(Path("/proc/self/statm").read_text().split()[0]) * mmap.PAGESIZE
    resource.setrlimit(resource.RLIMIT_AS, (own + (400 << 20),) * 2)
    settings = hypothesis.settings(
        max_examples=max(1, run_n // len(names)), deadline=None, database=None, print_blob=False,
        suppress_health_check=list(hypothesis.HealthCheck), report_multiple_bugs=False,
        verbosity=hypothesis.Verbosity.verbose if is_verbose else hypothesis.Verbosity.normal)
    failed = []
    for name in names:
        @hypothesis.seed(seed)
        @settings
        @hypothesis.given(data=st.data())
        def test(data):
            check(name, data)

        try:
            test()
        except (AssertionError, hypothesis.errors.Flaky) as error:
            failed.append(f"{name}: {error}\n" + "\n".join(getattr(error, "__notes__", [])))
    print("\n\n".join(failed))
    return not failed


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("runs", type=int)
    parser.add_argument("functions", nargs="*", default=[])
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--round", action="store_true")
    parser.add_argument("--verbose", action="store_true")
    options = parser.parse_args()
    names = options.functions or list(FUNCTIONS)
    if options.round:
        sys.exit(0 if run_round(options.seed, options.runs, names, options.verbose) else 1)
    start = time.monotonic()
    for done in range(0, options.runs, ROUND):
        seed, run_n = options.seed + done // ROUND, min(ROUND, options.runs - done)
        command = [sys.executable, __file__, str(run_n), *options.functions, "--seed", str(seed), "--round"]
        # Threads' stacks and heaps would take up the address space that is left to a round.
        child = subprocess.Popen(command, env=os.environ | {"MALLOC_ARENA_MAX": "1"}, stdout=subprocess.PIPE,
                                 stderr=subprocess.STDOUT, text=True)
        try:
            log = child.communicate(timeout=ROUND_SECONDS)[0]
        except subprocess.TimeoutExpired:
            child.terminate()
            log = "hangs\n" + child.communicate()[0]
        if child.returncode != 0:
            FAILURES.parent.mkdir(parents=True, exist_ok=True)
            FAILURES.write_text(" ".join(command[1:]) + "\n" + log)
            sys.exit(f"status {child.returncode}\n{log}\nkept in {FAILURES}")
    rate = options.runs / (time.monotonic() - start)
    print(f"python_arguments: {options.runs} runs, seeds from {options.seed}, {rate:.0f} a second")


main()
