"""Element-wise functions, the discrete Fourier transform, and windows."""

import numpy as np
from numpy.typing import ArrayLike

from ._checks import Complexes, Floats, complexes, fft_length, floats, integer, mode
from ._library import call, library
from .modes import Window


def log1p(src: ArrayLike) -> Floats:
    """Natural logarithm of one plus each value.

    src      any shape; -1 gives -infinity, values below -1 and NaN give NaN
    returns  the same shape
    """
    source = floats("src", src, None)
    dst = np.empty_like(source)
    call(library.kelvoAudioLog1p, dst.ctypes.data, source.ctypes.data, source.size)
    return dst


def standardize(src: ArrayLike) -> Floats:
    """Shifts and scales the whole array to zero mean and unit (population) standard deviation.

    src      any shape
    returns  the same shape

    One pass in single precision: of a long input, or one whose mean is large beside its deviation, digits are lost.
    """
    source = floats("src", src, None)
    dst = np.empty_like(source)
    call(library.kelvoAudioStandardize, dst.ctypes.data, source.ctypes.data, source.size)
    return dst


def fft(src: ArrayLike) -> Complexes:
    """Discrete Fourier transform of a real signal, unscaled.

    src      [fft_n], 1 to 2**30 - 1 samples, powers of two up to 2**27
    returns  [fft_n] complex: all bins, those above fft_n // 2 the conjugates of those below
    """
    source = floats("src", src)
    fft_length("src", source.size)
    dst = np.empty(source.size, np.complex64)
    call(library.kelvoAudioFFT, dst.ctypes.data, source.ctypes.data, source.size)
    return dst


def ifft(src: ArrayLike) -> Complexes:
    """Inverse discrete Fourier transform, divided by the number of bins.

    src      [fft_n] complex, as for fft
    returns  [fft_n] complex
    """
    source = complexes("src", src)
    fft_length("src", source.size)
    dst = np.empty_like(source)
    call(library.kelvoAudioIFFT, dst.ctypes.data, source.ctypes.data, source.size)
    return dst


def get_window(window_n: int, win_type: Window = Window.HANN) -> Floats:
    """A periodic window: Hann 0.5 - 0.5 cos(2 pi i / window_n), Hamming 0.54 - 0.46 cos(2 pi i / window_n).

    returns  [window_n]
    """
    dst = np.empty(integer("window_n", window_n), np.float32)
    call(library.kelvoAudioGetWindow, dst.ctypes.data, dst.size, mode("win_type", win_type, Window))
    return dst
