"""The shared library: where it is found, the types of its exports, and what their statuses become.

ctypes.CDLL lets go of the interpreter's lock while an export runs, so calls on several threads run at once. Arrays are
passed as bare addresses: numpy.ctypeslib.ndpointer would check every array again, at many times the cost of a call.
"""

import ctypes
import math
import os
import sys
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

# Names that the loader resolves by itself, and the name that a wheel keeps its copy under.
FILE_NAMES = {"win32": "kelvo_audio.dll", "cygwin": "kelvo_audio.dll", "darwin": "libkelvo_audio.dylib"}
FILE_NAME = FILE_NAMES.get(sys.platform, "libkelvo_audio.so")

# One letter a parameter: p for an array's address, i for int, f for float.
EXPORTS = {
    "kelvoAudioLog1p": "ppi",
    "kelvoAudioStandardize": "ppi",
    "kelvoAudioFFT": "ppi",
    "kelvoAudioIFFT": "ppi",
    "kelvoAudioGetWindow": "pii",
    "kelvoAudioGetFrameLen": "piiii",
    "kelvoAudioGetSampleLen": "piiii",
    "kelvoAudioFixFrameLen": "ppiiif",
    "kelvoAudioGetSpectrogram": "ppiiiiiiifi",
    "kelvoAudioGetInverseSpectrogram": "ppiiiiiiii",
    "kelvoAudioGetNonSilentPos": "pppiiif",
    "kelvoAudioGetFBMatrix": "piffiiii",
    "kelvoAudioGetMelSpectrogram": "ppiiiiiiiififfiii",
    "kelvoAudioConvertToMel": "pppiii",
    "kelvoAudioConvertPowerToDB": "ppif",
    "kelvoAudioComplexNorm": "ppif",
    "kelvoAudioMagPhase": "pppiifi",
    "kelvoAudioLinerFilter": "pppppiiiii",
    "kelvoAudioGetLinerFilterZiCoef": "pppiii",
    "kelvoAudioFilterFilter": "ppppiiiiii",
    "kelvoAudioResample": "ppiiii",
    "kelvoAudioGetResampleLen": "piii",
}
TYPES = {"p": ctypes.c_void_p, "i": ctypes.c_int, "f": ctypes.c_float}

STATUS_BAD_ARGUMENT, STATUS_OUT_OF_MEMORY = -1, -5
BLOCK = 2**30  # values that one call takes of a larger array


class KelvoAudioError(RuntimeError):
    """A call failed, but not for a bad argument (ValueError, TypeError) or a lack of memory (MemoryError)."""


def load() -> ctypes.CDLL:
    """The copy in the wheel; without one what KELVO_AUDIO_LIBRARY names, or else what the system's loader finds."""
    inside = Path(__file__).with_name(FILE_NAME)
    path = str(inside) if inside.exists() else os.environ.get("KELVO_AUDIO_LIBRARY") or FILE_NAME
    try:
        library = ctypes.CDLL(path)
    except OSError as error:
        raise ImportError(f"{error}; KELVO_AUDIO_LIBRARY may name the kelvo_audio library") from error
    for name, letters in EXPORTS.items():
        function = getattr(library, name)
        function.argtypes = [TYPES[letter] for letter in letters]
        function.restype = ctypes.c_int
    return library


library = load()


def call(function, *arguments) -> None:
    status = function(*arguments)
    if status == 0:
        return
    # The arguments were checked before, each under its name: a refusal here means that a check is missing.
    if status == STATUS_BAD_ARGUMENT:
        raise ValueError(f"{function.__name__}: an argument is out of range")
    if status == STATUS_OUT_OF_MEMORY:
        raise MemoryError(f"{function.__name__}: out of memory")
    raise KelvoAudioError(f"{function.__name__}: status {status}")


def query(function, *arguments: int) -> int:
    """Calls an export whose first parameter receives one integer."""
    result = ctypes.c_int()
    call(function, ctypes.byref(result), *arguments)
    return result.value


def items(array, axes: int) -> tuple[int, int]:
    """The address of the first item, which the last axes make, and the bytes from one to the next."""
    return array.ctypes.data, math.prod(array.shape[array.ndim - axes :]) * array.itemsize


def item_count(array, axes: int) -> int:
    return math.prod(array.shape[: array.ndim - axes])


def for_each(item_n: int, threads: int, compute: Callable[[int], None]) -> None:
    """compute(0) to compute(item_n - 1), on so many threads. Which thread computes an item leaves no trace in it."""
    threads = min(threads, item_n)
    if threads <= 1:
        for item in range(item_n):
            compute(item)
        return
    # A pool for each call: one that is kept would be dead in a forked child.
    with ThreadPoolExecutor(threads) as pool:
        try:
            results = pool.map(compute, range(item_n))
        except RuntimeError as error:
            raise ValueError(f"threads: {threads} are more than the system starts: {error}") from None
        for _ in results:
            pass


def call_each(function, item_n: int, threads: int, *arguments) -> None:
    """Calls an export for each item; an argument (address, step) lies step bytes further on from one to the next."""
    if item_n == 1:
        call(function, *[each[0] if type(each) is tuple else each for each in arguments])
        return
    for_each(item_n, threads, lambda item: call(function, *[
        each[0] + item * each[1] if type(each) is tuple else each for each in arguments]))


def elementwise(function, value_n: int, arrays: list[tuple], *settings) -> None:
    """Calls an export over arrays of (array, bytes of a value), as often as its int count makes necessary."""
    for start in range(0, value_n, BLOCK):
        call(function, *[array.ctypes.data + start * size for array, size in arrays], min(BLOCK, value_n - start),
             *settings)
