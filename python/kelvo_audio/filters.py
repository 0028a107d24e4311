"""Filters in the form of a numerator and a denominator, and in second-order sections.

The library takes float32 coefficients. Of a numerator and a denominator of high order they lose the filter: from the
fourth order on, or with a corner below a hundredth of the sample rate, use sections.
"""

from typing import overload

import numpy as np
from numpy.typing import ArrayLike

from ._checks import Floats, floats, integer, mode
from ._library import call, library
from .modes import Pad

# A section is b0 b1 b2 a0 a1 a2, three float32 numerator coefficients and three denominator coefficients behind them.
SECTION_BYTES, DENOMINATOR_BYTES, STATE_BYTES = 24, 12, 8


@overload
def lfilter(n_coef: ArrayLike, d_coef: ArrayLike, src: ArrayLike, zi: None = None) -> Floats: ...
@overload
def lfilter(n_coef: ArrayLike, d_coef: ArrayLike, src: ArrayLike, zi: ArrayLike) -> tuple[Floats, Floats]: ...
def lfilter(n_coef, d_coef, src, zi=None):
    """Filters a signal in direct form II transposed, in double precision with a float32 state.

    n_coef   [n_coef_n], the numerator b
    d_coef   [d_coef_n], the denominator a; all coefficients are divided by d_coef[0]
    src      [src_n]
    zi       [max(n_coef_n, d_coef_n) - 1], the state before the first sample; without it zeros
    returns  [src_n], and if zi is given the state behind the last sample as well, for the next block
    """
    b, a, source = floats("n_coef", n_coef), floats("d_coef", d_coef), floats("src", src)
    state_n = max(b.size, a.size) - 1
    state = np.zeros(state_n, np.float32) if zi is None or state_n == 0 else floats("zi", zi).copy()
    if state.shape != (state_n,):
        raise ValueError(f"zi: expected shape ({state_n},), got {state.shape}")
    dst = np.empty_like(source)
    call(library.kelvoAudioLinerFilter, dst.ctypes.data, source.ctypes.data, b.ctypes.data, a.ctypes.data,
         state.ctypes.data, dst.size, source.size, b.size, a.size, state_n)
    return dst if zi is None else (dst, state)


def lfilter_zi(n_coef: ArrayLike, d_coef: ArrayLike) -> Floats:
    """The state in which a filter has settled on a constant input of 1; times src[0] it is a zi without a transient.

    n_coef   [n_coef_n]
    d_coef   [d_coef_n]
    returns  [max(n_coef_n, d_coef_n) - 1]
    """
    b, a = floats("n_coef", n_coef), floats("d_coef", d_coef)
    state_n = max(b.size, a.size) - 1
    dst = np.empty(max(state_n, 1), np.float32)
    call(library.kelvoAudioGetLinerFilterZiCoef, dst.ctypes.data, b.ctypes.data, a.ctypes.data, dst.size, b.size,
         a.size)
    return dst[:state_n]


def padding(pad_type: Pad, pad_len: int | None, default: int, src_n: int) -> tuple[Pad, int]:
    pad_type = mode("pad_type", pad_type, Pad)
    pad_len = default if pad_len is None else integer("pad_len", pad_len, 0)
    if pad_len >= src_n and pad_type in (Pad.ODD, Pad.EVEN):
        raise ValueError(f"pad_len: must be below the {src_n} samples of src, got {pad_len}")
    return pad_type, pad_len


def filtfilt(n_coef: ArrayLike, d_coef: ArrayLike, src: ArrayLike, *, pad_type: Pad = Pad.ODD,
             pad_len: int | None = None) -> Floats:
    """Filters a signal forwards and then backwards, in double precision: no delay, and the gain squared.

    n_coef   [n_coef_n]
    d_coef   [d_coef_n]
    src      [src_n]
    pad_len  samples added at each end while filtering, below src_n for odd and even padding; by default
             3 * max(n_coef_n, d_coef_n)
    returns  [src_n]
    """
    b, a, source = floats("n_coef", n_coef), floats("d_coef", d_coef), floats("src", src)
    pad_type, pad_len = padding(pad_type, pad_len, 3 * max(b.size, a.size), source.size)
    dst = np.empty_like(source)
    call(library.kelvoAudioFilterFilter, dst.ctypes.data, source.ctypes.data, b.ctypes.data, a.ctypes.data, dst.size,
         source.size, b.size, a.size, pad_type, pad_len)
    return dst


def checked_sections(sos: ArrayLike) -> Floats:
    sections = floats("sos", sos, 2)
    if sections.shape[1] != 6:
        raise ValueError(f"sos: expected shape (section_n, 6), got {sections.shape}")
    return sections


def filter_sections(sections: Floats, source: Floats, state: Floats) -> Floats:
    """Each section filters what the one before it gave. state goes from before the first sample to behind the last."""
    dst = np.empty_like(source)
    sections_at, state_at, dst_at, source_at = (array.ctypes.data for array in (sections, state, dst, source))
    for section in range(len(sections)):
        coefficients = sections_at + section * SECTION_BYTES
        call(library.kelvoAudioLinerFilter, dst_at, dst_at if section else source_at, coefficients,
             coefficients + DENOMINATOR_BYTES, state_at + section * STATE_BYTES, dst.size, dst.size, 3, 3, 2)
    return dst


@overload
def sosfilt(sos: ArrayLike, src: ArrayLike, zi: None = None) -> Floats: ...
@overload
def sosfilt(sos: ArrayLike, src: ArrayLike, zi: ArrayLike) -> tuple[Floats, Floats]: ...
def sosfilt(sos, src, zi=None):
    """Filters a signal by second-order sections, one lfilter behind the other.

    sos      [section_n, 6], rows b0 b1 b2 a0 a1 a2, as scipy.signal.butter(..., output="sos") gives them
    src      [src_n]
    zi       [section_n, 2], the state before the first sample; without it zeros
    returns  [src_n], and if zi is given the state behind the last sample as well, for the next block
    """
    sections, source = checked_sections(sos), floats("src", src)
    shape = (len(sections), 2)
    state = np.zeros(shape, np.float32) if zi is None else floats("zi", zi, 2).copy()
    if state.shape != shape:
        raise ValueError(f"zi: expected shape {shape}, got {state.shape}")
    dst = filter_sections(sections, source, state)
    return dst if zi is None else (dst, state)


def sosfilt_zi(sos: ArrayLike) -> Floats:
    """The state in which the sections have settled on a constant input of 1.

    sos      [section_n, 6]
    returns  [section_n, 2]
    """
    sections = checked_sections(sos)
    state = np.empty((len(sections), 2), np.float32)
    gain = 1.0  # of the sections so far, on a constant
    for section, row in enumerate(sections.astype(float)):
        state[section] = gain * lfilter_zi(row[:3], row[3:])
        gain *= row[:3].sum() / row[3:].sum()
    return state


def extended(source: Floats, pad_type: Pad, pad_len: int) -> Floats:
    if pad_type == Pad.NONE or pad_len == 0:
        return source
    if pad_type == Pad.CONSTANT:
        return np.pad(source, pad_len, "edge")
    return np.pad(source, pad_len, "reflect", reflect_type="odd" if pad_type == Pad.ODD else "even")


def sosfiltfilt(sos: ArrayLike, src: ArrayLike, *, pad_type: Pad = Pad.ODD, pad_len: int | None = None) -> Floats:
    """Filters a signal by second-order sections, forwards and then backwards: no delay, and the gain squared.

    sos      [section_n, 6], rows b0 b1 b2 a0 a1 a2
    src      [src_n]
    pad_len  samples added at each end while filtering, below src_n for odd and even padding; by default three times the
             length of the filter, first-order sections counted as such
    returns  [src_n]
    """
    sections, source = checked_sections(sos), floats("src", src)
    length = 2 * len(sections) + 1 - min((sections[:, 2] == 0).sum(), (sections[:, 5] == 0).sum())
    pad_type, pad_len = padding(pad_type, pad_len, 3 * int(length), source.size)
    settled, filtered = sosfilt_zi(sections), extended(source, pad_type, pad_len)
    for _ in range(2):  # each pass leaves the signal reversed
        filtered = np.ascontiguousarray(filter_sections(sections, filtered, settled * filtered[0])[::-1])
    start = (filtered.size - source.size) // 2
    return filtered[start : start + source.size].copy()
