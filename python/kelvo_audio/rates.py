"""Conversion to another sample rate."""

import numpy as np
from numpy.typing import ArrayLike

from ._checks import Floats, floats, integer
from ._library import call, library, query


def resample_len(src_sample_n: int, *, dst_sample_rate: int, src_sample_rate: int) -> int:
    """Number of samples that resample makes: dst_sample_rate / src_sample_rate * src_sample_n, rounded up."""
    return query(library.kelvoAudioGetResampleLen, integer("dst_sample_rate", dst_sample_rate),
                 integer("src_sample_n", src_sample_n), integer("src_sample_rate", src_sample_rate))


def resample(src: ArrayLike, *, dst_sample_rate: int, src_sample_rate: int, dst_n: int | None = None) -> Floats:
    """Converts a signal to another sample rate by a windowed sinc over 65 input samples.

    src      [src_n]; zeros are assumed beyond its ends
    dst_n    length of the result; what lies beyond the length that resample_len tells, which is the default, is 0
    returns  [dst_n]; the last few samples are 0 where the filter reaches the last input: append two zeros to src to
             have them computed

    Only the ratio of the rates matters.
    """
    source = floats("src", src)
    dst_sample_rate = integer("dst_sample_rate", dst_sample_rate)
    src_sample_rate = integer("src_sample_rate", src_sample_rate)
    length = resample_len(source.size, dst_sample_rate=dst_sample_rate, src_sample_rate=src_sample_rate)
    dst = np.empty(length if dst_n is None else integer("dst_n", dst_n), np.float32)
    call(library.kelvoAudioResample, dst.ctypes.data, source.ctypes.data, dst_sample_rate, dst.size, src_sample_rate,
         source.size)
    return dst
