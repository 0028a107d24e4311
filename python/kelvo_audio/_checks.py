"""Checks of arguments under their names: the library's status tells that one is wrong, but not which."""

import ctypes
import math
import operator
import sys
import warnings
from enum import Enum, IntEnum
from typing import Any, TypeVar

import numpy as np
from numpy.typing import ArrayLike, DTypeLike, NDArray

Floats = NDArray[np.float32]
Complexes = NDArray[np.complex64]
Mode = TypeVar("Mode", bound=IntEnum)

INT_MAX = 2**31 - 1
FLOAT32, COMPLEX64 = np.dtype(np.float32), np.dtype(np.complex64)
# The kinds of NumPy's types that become float32 or complex64 without losing what they mean.
REAL_KINDS, COMPLEX_KINDS = "fiub", "cfiub"


class KelvoAudioWarning(UserWarning):
    """An argument is accepted, but is hardly what the caller means."""


def warn(text: str) -> None:
    """Warns at the line that called the package, once a line unless the caller's filters say otherwise."""
    frame, depth = sys._getframe(1), 2
    while frame.f_back and frame.f_globals.get("__name__", "").partition(".")[0] == __package__:
        frame, depth = frame.f_back, depth + 1
    warnings.warn(text, KelvoAudioWarning, stacklevel=depth)


def as_array(name: str, values: ArrayLike) -> NDArray[Any]:
    try:
        return np.asarray(values)
    except (TypeError, ValueError) as error:  # rows of different length, for instance
        raise (TypeError if isinstance(error, TypeError) else ValueError)(f"{name}: {error}") from None
    except RuntimeError as error:  # of a tensor that records gradients, or lies on another device
        raise TypeError(f"{name}: {error}") from None


def _array(name: str, values: ArrayLike, axes: int, dtype: np.dtype, kinds: str, empty: bool) -> NDArray[Any]:
    array = as_array(name, values)
    if array.dtype is not dtype or not array.flags.c_contiguous or not array.flags.aligned:
        if array.dtype.kind not in kinds:
            raise TypeError(f"{name}: expected {dtype}, got {array.dtype}")
        array = np.require(array, dtype, ("C", "ALIGNED"))
    if array.ndim < axes:
        raise ValueError(f"{name}: expected {axes} dimension(s) at least, got shape {array.shape}")
    item_n = math.prod(array.shape[array.ndim - axes :])
    if item_n > INT_MAX or (item_n == 0 and not empty):
        raise ValueError(f"{name}: must hold 1 to {INT_MAX} values, got shape {array.shape}")
    return array


def floats(name: str, values: ArrayLike, axes: int = 1, empty: bool = False) -> Floats:
    """values as contiguous float32, without a copy where they are that already; the last axes make one item."""
    return _array(name, values, axes, FLOAT32, REAL_KINDS, empty)


def complexes(name: str, values: ArrayLike, axes: int = 1, empty: bool = False) -> Complexes:
    """values as contiguous complex64, without a copy where they are that already; the last axes make one item."""
    return _array(name, values, axes, COMPLEX64, COMPLEX_KINDS, empty)


def floats_or_complexes(name: str, values: ArrayLike, axes: int = 1, empty: bool = False) -> Floats | Complexes:
    array = as_array(name, values)
    return (complexes if array.dtype.kind == "c" else floats)(name, array, axes, empty)


def samples(name: str, values: ArrayLike) -> Floats:
    """Signals along the last axis. Integers are refused: taken as they are, they would be 32768 times too loud."""
    array = as_array(name, values)
    if array.dtype.kind in "iub":
        raise TypeError(f"{name}: expected samples in -1 .. 1, got {array.dtype}; from_pcm16(x), from_pcm8(x), "
                        "from_pcm24(x) and from_pcm32(x) scale them")
    return floats(name, array)


def spectra(name: str, values: ArrayLike, axes: int) -> Complexes:
    array = as_array(name, values)
    if array.dtype.kind != "c":
        raise TypeError(f"{name}: expected complex bins, got {array.dtype}; magnitudes lack the phase, "
                        "recipes.griffin_lim estimates one")
    return complexes(name, array, axes, empty=True)


def vector(name: str, values: ArrayLike) -> Floats:
    array = floats(name, values)
    if array.ndim != 1:
        raise ValueError(f"{name}: expected 1 dimension, got shape {array.shape}")
    return array


def matrix(name: str, values: ArrayLike) -> Floats:
    array = floats(name, values, 2)
    if array.ndim != 2:
        raise ValueError(f"{name}: expected 2 dimensions, got shape {array.shape}")
    return array


def result(out: NDArray[Any] | None, shape: tuple[int, ...], dtype: DTypeLike, *given: ArrayLike | None,
           in_place: bool = False, name: str = "out") -> NDArray[Any]:
    """The array that a function writes: a new one, or out. That may lie over none of the given arrays, not even where a
    copy of them is read, but may be the first of them where in_place says so."""
    if out is None:
        return np.empty(shape, dtype)
    if not isinstance(out, np.ndarray) or out.dtype != dtype or out.shape != shape:
        found = f"{out.dtype} {out.shape}" if isinstance(out, np.ndarray) else type(out).__name__
        raise ValueError(f"{name}: expected an array of {np.dtype(dtype)} {shape}, got {found}")
    if not out.flags.c_contiguous or not out.flags.aligned or not out.flags.writeable:
        raise ValueError(f"{name}: must be contiguous, aligned and writeable")
    for index, each in enumerate(given):
        if each is None or isinstance(each, (list, tuple)):  # their numbers lie elsewhere
            continue
        array = as_array(name, each)
        # A bounded search for an element in common; where it finds no end, there may be one.
        if np.may_share_memory(out, array, max_work=1000) and not (
                in_place and index == 0 and array.ctypes.data == out.ctypes.data and array.dtype == out.dtype
                and array.shape == out.shape and array.flags.c_contiguous):
            raise ValueError(f"{name}: overlaps another array of the call")
    return np.asarray(out)  # masks, for instance, would keep values from being written


def integer(name: str, value: int, least: int = 1, most: int = INT_MAX) -> int:
    if isinstance(value, (bool, Enum)):
        raise TypeError(f"{name}: expected an integer, got {value!r}")
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{name}: expected an integer, got {value!r}") from None
    if not least <= number <= most:
        raise ValueError(f"{name}: must be {least} to {most}, got {number}")
    return number


def flag(name: str, given: bool) -> bool:
    if not isinstance(given, (bool, np.bool_)):
        raise TypeError(f"{name}: expected True or False, got {given!r}")
    return bool(given)


def value(name: str, given: float) -> float:
    """given as the float32 that the library will see, so that comparisons here and there agree."""
    if isinstance(given, (bool, Enum)):
        raise TypeError(f"{name}: expected a number, got {given!r}")
    try:
        return ctypes.c_float(given).value
    except TypeError:
        raise TypeError(f"{name}: expected a number, got {given!r}") from None
    except (OverflowError, ValueError) as error:  # too large an integer, an array of several numbers
        raise ValueError(f"{name}: {error}") from None


def number(name: str, given: float) -> float:
    """A setting: no NaN, no infinity, nothing that single precision makes one of."""
    rounded = value(name, given)
    if not math.isfinite(rounded):
        raise ValueError(f"{name}: must be a finite number in single precision, got {given}")
    return rounded


def not_negative(name: str, given: float) -> float:
    rounded = number(name, given)
    if rounded < 0:
        raise ValueError(f"{name}: must not be negative, got {given}")
    return rounded


def positive(name: str, given: float) -> float:
    rounded = number(name, given)
    if rounded <= 0:
        raise ValueError(f"{name}: must be greater than 0, got {given}")
    return rounded


def mode(name: str, given: Mode | int, modes: type[Mode]) -> int:
    if type(given) is modes:
        return given
    try:
        if isinstance(given, (bool, Enum)):  # Window.HANN is 1, and so is Center.REFLECT
            raise ValueError
        return modes(operator.index(given))
    except (TypeError, ValueError):
        accepted = " or ".join(f"{each.name} ({each.value})" for each in modes)
        raise ValueError(f"{name}: must be {accepted}, got {given!r}") from None


def fft_length(name: str, given: int) -> int:
    length = integer(name, given, 1, 2**30 - 1)
    if length > 2**27 and length & (length - 1) == 0:
        raise ValueError(f"{name}: powers of two go up to {2**27}, got {length}")
    return length


def window_length(win_n: int | None, fft_n: int) -> int:
    """win_n, which defaults to the whole frame."""
    return fft_n if win_n is None else integer("win_n", win_n, 1, fft_n)


def mel_band(f_min: float, f_max: float | None, sample_rate: int) -> tuple[float, float]:
    """f_min and f_max, which defaults to half the sample rate."""
    low = not_negative("f_min", f_min)
    high = not_negative("f_max", sample_rate / 2 if f_max is None else f_max)
    if high <= low:
        raise ValueError(f"f_max: must be greater than f_min, got {high} and {low}")
    if f_max is not None and high > sample_rate / 2:
        warn(f"f_max: {f_max} Hz lie above half the sample rate of {sample_rate} Hz")
    return low, high
