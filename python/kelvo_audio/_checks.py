"""Checks of arguments under their names: the library's status tells that one is wrong, but not which."""

import ctypes
import operator
from enum import IntEnum
from typing import Any, TypeVar

import numpy as np
from numpy.typing import ArrayLike, NDArray

Floats = NDArray[np.float32]
Complexes = NDArray[np.complex64]
Mode = TypeVar("Mode", bound=IntEnum)

INT_MAX = 2**31 - 1
FLOAT32, COMPLEX64 = np.dtype(np.float32), np.dtype(np.complex64)
# The kinds of NumPy's types that become float32 or complex64 without losing what they mean.
REAL_KINDS, COMPLEX_KINDS = "fiub", "cfiub"


def _as_array(name: str, values: ArrayLike) -> NDArray[Any]:
    try:
        return np.asarray(values)
    except (TypeError, ValueError) as error:  # rows of different length, for instance
        raise type(error)(f"{name}: {error}") from None


def _array(name: str, values: ArrayLike, ndim: int | None, dtype: np.dtype, kinds: str) -> NDArray[Any]:
    array = _as_array(name, values)
    if array.dtype is not dtype or not array.flags.c_contiguous or not array.flags.aligned:
        if array.dtype.kind not in kinds:
            raise TypeError(f"{name}: expected {dtype}, got {array.dtype}")
        array = np.require(array, dtype, ("C", "ALIGNED"))
    if ndim is not None and array.ndim != ndim:
        raise ValueError(f"{name}: expected {ndim} dimension(s), got shape {array.shape}")
    if not 0 < array.size <= INT_MAX:
        raise ValueError(f"{name}: must hold 1 to {INT_MAX} values, got shape {array.shape}")
    return array


def floats(name: str, values: ArrayLike, ndim: int | None = 1) -> Floats:
    """values as contiguous float32, without a copy where they are that already."""
    return _array(name, values, ndim, FLOAT32, REAL_KINDS)


def complexes(name: str, values: ArrayLike, ndim: int | None = 1) -> Complexes:
    """values as contiguous complex64, without a copy where they are that already."""
    return _array(name, values, ndim, COMPLEX64, COMPLEX_KINDS)


def floats_or_complexes(name: str, values: ArrayLike, ndim: int | None = 1) -> Floats | Complexes:
    array = _as_array(name, values)
    return complexes(name, array, ndim) if array.dtype.kind == "c" else floats(name, array, ndim)


def integer(name: str, value: int, least: int = 1, most: int = INT_MAX) -> int:
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{name}: expected an integer, got {value!r}") from None
    if not least <= number <= most:
        raise ValueError(f"{name}: must be {least} to {most}, got {number}")
    return number


def number(name: str, value: float) -> float:
    """value as the float32 that the library will see, so that comparisons here and there agree."""
    try:
        return ctypes.c_float(value).value
    except TypeError:
        raise TypeError(f"{name}: expected a number, got {value!r}") from None
    except OverflowError as error:
        raise ValueError(f"{name}: {error}") from None


def not_negative(name: str, value: float) -> float:
    rounded = number(name, value)
    if rounded < 0:
        raise ValueError(f"{name}: must not be negative, got {value}")
    return rounded


def mode(name: str, value: Mode | int, modes: type[Mode]) -> int:
    if type(value) is modes:
        return value
    try:
        return modes(operator.index(value))
    except (TypeError, ValueError):
        accepted = " or ".join(f"{each.name} ({each.value})" for each in modes)
        raise ValueError(f"{name}: must be {accepted}, got {value!r}") from None


def fft_length(name: str, value: int) -> int:
    length = integer(name, value, 1, 2**30 - 1)
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
    return low, high
