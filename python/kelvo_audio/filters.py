"""Filters in the form of a numerator and a denominator, and in second-order sections.

The library takes float32 coefficients. Of a numerator and a denominator of high order they lose the filter: from the
fourth order on, or with a corner below a hundredth of the sample rate, use sections.
"""

from typing import overload

import numpy as np
from numpy.typing import ArrayLike

from ._checks import Floats, floats, integer, matrix, mode, result, samples, vector
from ._library import call, call_each, for_each, item_count, items, library
from .modes import Pad

# A section is b0 b1 b2 a0 a1 a2, three float32 numerator coefficients and three denominator coefficients behind them.
SECTION_BYTES, DENOMINATOR_BYTES, STATE_BYTES = 24, 12, 8


def carried_state(zi: ArrayLike | None, shape: tuple[int, ...]) -> Floats:
    """A copy of zi, which the filter goes on with, or zeros."""
    if zi is None or 0 in shape:
        return np.zeros(shape, np.float32)
    state = floats("zi", zi).copy()
    if state.shape != shape:
        raise ValueError(f"zi: expected shape {shape}, got {state.shape}")
    return state


@overload
def lfilter(n_coef: ArrayLike, d_coef: ArrayLike, src: ArrayLike, zi: None = None, *, threads: int = ...,
            out: Floats | None = ...) -> Floats: ...
@overload
def lfilter(n_coef: ArrayLike, d_coef: ArrayLike, src: ArrayLike, zi: ArrayLike, *, threads: int = ...,
            out: Floats | None = ...) -> tuple[Floats, Floats]: ...
def lfilter(n_coef, d_coef, src, zi=None, *, threads=1, out=None):
    """Filters signals in direct form II transposed, in double precision with a float32 state.

    n_coef   [n_coef_n], the numerator b
    d_coef   [d_coef_n], the denominator a; all coefficients are divided by d_coef[0]
    src      [..., src_n]
    zi       [..., max(n_coef_n, d_coef_n) - 1], the state before the first sample; without it zeros
    out      takes the result; may be src
    returns  [..., src_n], and if zi is given the state behind the last sample as well, for the next block
    """
    b, a, source = vector("n_coef", n_coef), vector("d_coef", d_coef), samples("src", src)
    state_n = max(b.size, a.size) - 1
    state = carried_state(zi, (*source.shape[:-1], state_n))
    dst = result(out, source.shape, np.float32, src, n_coef, d_coef, zi, in_place=True)
    src_n = source.shape[-1]
    call_each(library.kelvoAudioLinerFilter, item_count(source, 1), integer("threads", threads), items(dst, 1),
              items(source, 1), b.ctypes.data, a.ctypes.data, items(state, 1), src_n, src_n, b.size, a.size, state_n)
    return dst if zi is None else (dst, state)


def lfilter_zi(n_coef: ArrayLike, d_coef: ArrayLike) -> Floats:
    """The state in which a filter has settled on a constant input of 1; times src[0] it is a zi without a transient.

    n_coef   [n_coef_n]
    d_coef   [d_coef_n]
    returns  [max(n_coef_n, d_coef_n) - 1]
    """
    b, a = vector("n_coef", n_coef), vector("d_coef", d_coef)
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
             pad_len: int | None = None, threads: int = 1, out: Floats | None = None) -> Floats:
    """Filters signals forwards and then backwards, in double precision: no delay, and the gain squared.

    n_coef   [n_coef_n]
    d_coef   [d_coef_n]
    src      [..., src_n]
    pad_len  samples added at each end while filtering, below src_n for odd and even padding; by default
             3 * max(n_coef_n, d_coef_n)
    out      takes the result; may be src
    returns  [..., src_n]
    """
    b, a, source = vector("n_coef", n_coef), vector("d_coef", d_coef), samples("src", src)
    src_n = source.shape[-1]
    pad_type, pad_len = padding(pad_type, pad_len, 3 * max(b.size, a.size), src_n)
    dst = result(out, source.shape, np.float32, src, n_coef, d_coef, in_place=True)
    call_each(library.kelvoAudioFilterFilter, item_count(source, 1), integer("threads", threads), items(dst, 1),
              items(source, 1), b.ctypes.data, a.ctypes.data, src_n, src_n, b.size, a.size, pad_type, pad_len)
    return dst


def checked_sections(sos: ArrayLike) -> Floats:
    sections = matrix("sos", sos)
    if sections.shape[1] != 6:
        raise ValueError(f"sos: expected shape (section_n, 6), got {sections.shape}")
    return sections


def filter_sections(sections: Floats, dst: Floats, source: Floats, state: Floats) -> None:
    """One signal; each section filters what the one before it gave. state goes from before the first sample to behind
    the last."""
    sections_at, state_at, dst_at, source_at = (array.ctypes.data for array in (sections, state, dst, source))
    for section in range(len(sections)):
        coefficients = sections_at + section * SECTION_BYTES
        call(library.kelvoAudioLinerFilter, dst_at, dst_at if section else source_at, coefficients,
             coefficients + DENOMINATOR_BYTES, state_at + section * STATE_BYTES, dst.size, dst.size, 3, 3, 2)


@overload
def sosfilt(sos: ArrayLike, src: ArrayLike, zi: None = None, *, threads: int = ...,
            out: Floats | None = ...) -> Floats: ...
@overload
def sosfilt(sos: ArrayLike, src: ArrayLike, zi: ArrayLike, *, threads: int = ...,
            out: Floats | None = ...) -> tuple[Floats, Floats]: ...
def sosfilt(sos, src, zi=None, *, threads=1, out=None):
    """Filters signals by second-order sections, one lfilter behind the other.

    sos      [section_n, 6], rows b0 b1 b2 a0 a1 a2, as scipy.signal.butter(..., output="sos") gives them
    src      [..., src_n]
    zi       [..., section_n, 2], the state before the first sample; without it zeros
    out      takes the result; may be src
    returns  [..., src_n], and if zi is given the state behind the last sample as well, for the next block
    """
    sections, source = checked_sections(sos), samples("src", src)
    state = carried_state(zi, (*source.shape[:-1], len(sections), 2))
    dst = result(out, source.shape, np.float32, src, sos, zi, in_place=True)
    item_n, src_n = item_count(source, 1), source.shape[-1]
    signals, results = source.reshape(item_n, src_n), dst.reshape(item_n, src_n)
    states = state.reshape(item_n, len(sections), 2)
    for_each(item_n, integer("threads", threads),
             lambda item: filter_sections(sections, results[item], signals[item], states[item]))
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


def sosfiltfilt(sos: ArrayLike, src: ArrayLike, *, pad_type: Pad = Pad.ODD, pad_len: int | None = None,
                threads: int = 1, out: Floats | None = None) -> Floats:
    """Filters signals by second-order sections, forwards and then backwards: no delay, and the gain squared.

    sos      [section_n, 6], rows b0 b1 b2 a0 a1 a2
    src      [..., src_n]
    pad_len  samples added at each end while filtering, below src_n for odd and even padding; by default three times the
             length of the filter, first-order sections counted as such
    out      takes the result; may be src
    returns  [..., src_n]
    """
    sections, source = checked_sections(sos), samples("src", src)
    src_n = source.shape[-1]
    length = 2 * len(sections) + 1 - min((sections[:, 2] == 0).sum(), (sections[:, 5] == 0).sum())
    pad_type, pad_len = padding(pad_type, pad_len, 3 * int(length), src_n)
    settled = sosfilt_zi(sections)
    dst = result(out, source.shape, np.float32, src, sos, in_place=True)
    item_n = item_count(source, 1)
    signals, results = source.reshape(item_n, src_n), dst.reshape(item_n, src_n)

    def compute(item: int) -> None:
        filtered = extended(signals[item], pad_type, pad_len)
        for _ in range(2):  # each pass leaves the signal reversed
            before, filtered = filtered, np.empty_like(filtered)
            filter_sections(sections, filtered, before, settled * before[0])
            filtered = np.ascontiguousarray(filtered[::-1])
        start = (filtered.size - src_n) // 2
        results[item] = filtered[start : start + src_n]

    for_each(item_n, integer("threads", threads), compute)
    return dst
