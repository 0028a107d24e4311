"""Element-wise functions, the discrete Fourier transform, and windows."""

import numpy as np
from numpy.typing import ArrayLike

from ._checks import Complexes, Floats, complexes, fft_length, floats, integer, mode, result, samples
from ._library import call, call_each, elementwise, item_count, items, library
from .modes import Window


def log1p(src: ArrayLike, *, out: Floats | None = None) -> Floats:
    """Natural logarithm of one plus each value.

    src      any shape; -1 gives -infinity, values below -1 and NaN give NaN
    out      takes the result; may be src
    returns  the same shape
    """
    source = floats("src", src, 0, empty=True)
    dst = result(out, source.shape, np.float32, src, in_place=True)
    elementwise(library.kelvoAudioLog1p, source.size, [(dst, 4), (source, 4)])
    return dst


def standardize(src: ArrayLike, *, axes: int = 1, threads: int = 1, out: Floats | None = None) -> Floats:
    """Shifts and scales to zero mean and unit (population) standard deviation.

    src      [...]
    axes     the last so many axes are standardised together: 1 for each signal (or row) by itself, 2 for each matrix
    out      takes the result; may be src
    returns  the same shape

    One pass in single precision: of a long input, or one whose mean is large beside its deviation, digits are lost,
    and a nearly constant one can come out as NaN, where rounding makes the variance negative. A constant usually gives
    zeros.
    """
    source = floats("src", src, integer("axes", axes, 1, 32), empty=True)
    dst = result(out, source.shape, np.float32, src, in_place=True)
    item_n = item_count(source, axes)
    if source.size:
        call_each(library.kelvoAudioStandardize, item_n, integer("threads", threads), items(dst, axes),
                  items(source, axes), source.size // item_n)
    return dst


def fft(src: ArrayLike, *, threads: int = 1, out: Complexes | None = None) -> Complexes:
    """Discrete Fourier transform of real signals, unscaled.

    src      [..., fft_n], 1 to 2**30 - 1 samples, powers of two up to 2**27
    returns  [..., fft_n] complex: all bins, those above fft_n // 2 the conjugates of those below
    """
    source = samples("src", src)
    fft_n = fft_length("src", source.shape[-1])
    dst = result(out, source.shape, np.complex64, src)
    call_each(library.kelvoAudioFFT, item_count(source, 1), integer("threads", threads), items(dst, 1),
              items(source, 1), fft_n)
    return dst


def ifft(src: ArrayLike, *, threads: int = 1, out: Complexes | None = None) -> Complexes:
    """Inverse discrete Fourier transform, divided by the number of bins.

    src      [..., fft_n] complex, as for fft
    returns  [..., fft_n] complex
    """
    source = complexes("src", src)
    fft_n = fft_length("src", source.shape[-1])
    dst = result(out, source.shape, np.complex64, src)
    call_each(library.kelvoAudioIFFT, item_count(source, 1), integer("threads", threads), items(dst, 1),
              items(source, 1), fft_n)
    return dst


def get_window(window_n: int, win_type: Window = Window.HANN) -> Floats:
    """A periodic window: Hann 0.5 - 0.5 cos(2 pi i / window_n), Hamming 0.54 - 0.46 cos(2 pi i / window_n).

    returns  [window_n]
    """
    dst = np.empty(integer("window_n", window_n), np.float32)
    call(library.kelvoAudioGetWindow, dst.ctypes.data, dst.size, mode("win_type", win_type, Window))
    return dst
