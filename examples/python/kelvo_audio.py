"""kelvo_audio for NumPy: thin, typed wrappers of its main functions.

Signals are one-dimensional, spectrograms [bin, frame], mel spectrograms [band, frame]; everything is float32 or
complex64, and inputs of other types are converted. The library is looked for in $KELVO_AUDIO_LIBRARY, else by its name.
"""

from __future__ import annotations

import ctypes
import os
from enum import IntEnum

import numpy as np
from numpy.typing import ArrayLike, NDArray

Floats = NDArray[np.float32]
Complexes = NDArray[np.complex64]


class Window(IntEnum):
    HANN = 1
    HAMMING = 2


class Center(IntEnum):
    NONE = 0
    REFLECT = 1
    ZERO = 2


class Norm(IntEnum):
    NONE = 0
    WINDOW_L2 = 1
    TWO_OVER_N = 2


class MelNorm(IntEnum):
    NONE = 0
    SLANEY = 1


class MelScale(IntEnum):
    SLANEY = 0
    HTK = 1


class Pad(IntEnum):
    NONE = 0
    ODD = 1
    EVEN = 2
    CONSTANT = 3


class KelvoAudioError(Exception):
    """A call failed with a status other than that of a bad argument (ValueError) or of lack of memory (MemoryError)."""


_library = ctypes.CDLL(os.environ.get("KELVO_AUDIO_LIBRARY", "libkelvo_audio.so.1"))


def _call(name: str, *arguments: object) -> None:
    """Calls an export: arrays go as pointers, integers as int and floats as float."""

    def convert(argument: object) -> object:
        if isinstance(argument, np.ndarray):
            return argument.ctypes.data_as(ctypes.c_void_p)
        return ctypes.c_float(argument) if isinstance(argument, float) else argument

    status = getattr(_library, name)(*map(convert, arguments))
    if status == -1:
        raise ValueError(f"{name}: an argument is out of range")
    if status == -5:
        raise MemoryError(name)
    if status != 0:
        raise KelvoAudioError(f"{name}: status {status}")


def _query(name: str, *arguments: int) -> int:
    """Calls an export whose first parameter receives one integer."""
    result = ctypes.c_int()
    _call(name, ctypes.byref(result), *arguments)
    return result.value


def _array(values: ArrayLike, dtype: type, ndim: int) -> NDArray:
    array = np.ascontiguousarray(values, dtype)
    if array.ndim != ndim or array.size == 0:
        raise ValueError(f"expected a non-empty array of {ndim} dimension(s), got shape {array.shape}")
    return array


def fft(signal: ArrayLike) -> Complexes:
    """All len(signal) bins of the discrete Fourier transform of a real signal."""
    source = _array(signal, np.float32, 1)
    bins = np.empty(source.size, np.complex64)
    _call("kelvoAudioFFT", bins, source, source.size)
    return bins


def frame_count(sample_n: int, fft_n: int, hop_n: int, center: Center = Center.REFLECT) -> int:
    return _query("kelvoAudioGetFrameLen", sample_n, fft_n, hop_n, int(center))


def spectrogram(signal: ArrayLike, fft_n: int = 400, hop_n: int = 160, win_n: int | None = None,
                window: Window = Window.HANN, center: Center = Center.REFLECT, power: float = 0.0,
                norm: Norm = Norm.NONE) -> Complexes | Floats:
    """[fft_n // 2 + 1, frame]: complex bins with power 0, else |bin| ** power."""
    source = _array(signal, np.float32, 1)
    frame_n = frame_count(source.size, fft_n, hop_n, center)
    bins = np.empty((fft_n // 2 + 1, frame_n), np.complex64)
    # The library wants at least one column, although a signal that is too short fills none.
    _call("kelvoAudioGetSpectrogram", bins, source, source.size, fft_n, hop_n, fft_n if win_n is None else win_n,
          int(window), max(frame_n, 1), int(center), float(power), int(norm))
    return np.ascontiguousarray(bins.real) if power > 0 else bins


def inverse_spectrogram(bins: ArrayLike, hop_n: int = 160, win_n: int | None = None, sample_n: int | None = None,
                        window: Window = Window.HANN, center: Center = Center.REFLECT,
                        norm: Norm = Norm.NONE) -> Floats:
    """The signal of a complex spectrogram; sample_n defaults to the length that all frames cover."""
    source = _array(bins, np.complex64, 2)
    freq_n, frame_n = source.shape
    if sample_n is None:
        sample_n = _query("kelvoAudioGetSampleLen", frame_n, freq_n, hop_n, int(center))
    signal = np.zeros(sample_n, np.float32)
    _call("kelvoAudioGetInverseSpectrogram", signal, source, frame_n, freq_n, hop_n,
          2 * freq_n - 2 if win_n is None else win_n, int(window), sample_n, int(center), int(norm))
    return signal


def mel_spectrogram(signal: ArrayLike, sample_rate: int = 16000, fft_n: int = 400, hop_n: int = 160,
                    win_n: int | None = None, mel_n: int = 80, f_min: float = 0.0, f_max: float | None = None,
                    window: Window = Window.HANN, center: Center = Center.REFLECT, power: float = 2.0,
                    norm: Norm = Norm.NONE, mel_norm: MelNorm = MelNorm.SLANEY,
                    mel_scale: MelScale = MelScale.SLANEY) -> Floats:
    """[mel_n, frame]; f_max defaults to half the sample rate."""
    source = _array(signal, np.float32, 1)
    frame_n = frame_count(source.size, fft_n, hop_n, center)
    mel = np.empty((mel_n, frame_n), np.float32)
    _call("kelvoAudioGetMelSpectrogram", mel, source, source.size, sample_rate, fft_n, hop_n,
          fft_n if win_n is None else win_n, int(window), max(frame_n, 1), int(center), float(power), int(norm),
          float(f_min), sample_rate / 2 if f_max is None else float(f_max), mel_n, int(mel_norm), int(mel_scale))
    return mel


def power_to_db(power: ArrayLike, top_db: float = 80.0) -> Floats:
    """Decibels below the largest value of the whole array, at most top_db below it; no limit if top_db is negative."""
    source = np.ascontiguousarray(power, np.float32)
    db = np.empty_like(source)
    _call("kelvoAudioConvertPowerToDB", db, source, source.size, float(top_db))
    return db


def resample(signal: ArrayLike, source_rate: int, target_rate: int) -> Floats:
    source = _array(signal, np.float32, 1)
    resampled = np.empty(_query("kelvoAudioGetResampleLen", target_rate, source.size, source_rate), np.float32)
    _call("kelvoAudioResample", resampled, source, target_rate, resampled.size, source_rate, source.size)
    return resampled


def filtfilt(numerator: ArrayLike, denominator: ArrayLike, signal: ArrayLike, pad: Pad = Pad.ODD,
             pad_n: int | None = None) -> Floats:
    """Filters forwards and backwards: zero phase. pad_n defaults to three times the filter's length."""
    b, a = _array(numerator, np.float32, 1), _array(denominator, np.float32, 1)
    source = _array(signal, np.float32, 1)
    if pad_n is None:
        pad_n = 3 * max(a.size, b.size)
    filtered = np.empty_like(source)
    _call("kelvoAudioFilterFilter", filtered, source, b, a, filtered.size, source.size, b.size, a.size, int(pad), pad_n)
    return filtered
