"""The shared library: where it is found, the types of its exports, and what their statuses become.

ctypes.CDLL lets go of the interpreter's lock while an export runs, so calls on several threads run at once. Arrays are
passed as bare addresses: numpy.ctypeslib.ndpointer would check every array again, at many times the cost of a call.
"""

import ctypes
import os
import sys
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
        raise MemoryError(function.__name__)
    raise KelvoAudioError(f"{function.__name__}: status {status}")


def query(function, *arguments: int) -> int:
    """Calls an export whose first parameter receives one integer."""
    result = ctypes.c_int()
    call(function, ctypes.byref(result), *arguments)
    return result.value
