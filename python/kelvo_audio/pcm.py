"""Integer samples, as files and sound cards give them, to floats in -1 .. 1."""

import numpy as np
from numpy.typing import ArrayLike

from ._checks import Floats, as_array


def _scaled(src: ArrayLike, dtype: str, bits: int, middle: int = 0) -> Floats:
    source = as_array("src", src)
    if source.dtype.kind not in "iu":
        raise TypeError(f"src: expected integers of {bits} bits, got {source.dtype}")
    if source.size and not (middle - 2 ** (bits - 1) <= source.min() and source.max() < middle + 2 ** (bits - 1)):
        raise ValueError(f"src: holds values beyond {bits} bits, {source.min()} to {source.max()}")
    # Exact up to 24 bits: both the difference and the product with a power of two.
    return (source.astype(dtype) - middle).astype(np.float32) * np.float32(2.0 ** (1 - bits))


def from_pcm8(src: ArrayLike) -> Floats:
    """Unsigned 8-bit samples, of which 128 is the middle, as WAV files have them."""
    return _scaled(src, "i2", 8, 128)


def from_pcm16(src: ArrayLike) -> Floats:
    """16-bit samples: src / 32768."""
    return _scaled(src, "i4", 16)


def from_pcm24(src: ArrayLike) -> Floats:
    """24-bit samples in the lower bits of integers: src / 8388608."""
    return _scaled(src, "i4", 24)


def from_pcm32(src: ArrayLike) -> Floats:
    """32-bit samples, or 24-bit ones in the upper bits: src / 2147483648, rounded to float32."""
    return _scaled(src, "i8", 32)
