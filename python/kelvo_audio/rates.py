"""Conversion to another sample rate."""

import numpy as np
from numpy.typing import ArrayLike

from ._checks import Floats, integer, result, samples
from ._library import call_each, item_count, items, library, query


def resample_len(src_sample_n: int, *, dst_sample_rate: int, src_sample_rate: int) -> int:
    """Number of samples that resample makes: dst_sample_rate / src_sample_rate * src_sample_n, rounded up."""
    return query(library.kelvoAudioGetResampleLen, integer("dst_sample_rate", dst_sample_rate),
                 integer("src_sample_n", src_sample_n), integer("src_sample_rate", src_sample_rate))


def resample(src: ArrayLike, *, dst_sample_rate: int, src_sample_rate: int, dst_n: int | None = None,
             threads: int = 1, out: Floats | None = None) -> Floats:
    """Converts signals to another sample rate by a windowed sinc over 65 input samples.

    src      [..., src_n]; zeros are assumed beyond the ends
    dst_n    length of the result; what lies beyond the length that resample_len tells, which is the default, is 0
    returns  [..., dst_n]; the last few samples are 0 where the filter reaches the last input: append two zeros to src
             to have them computed

    Only the ratio of the rates matters.
    """
    source = samples("src", src)
    dst_sample_rate = integer("dst_sample_rate", dst_sample_rate)
    src_sample_rate = integer("src_sample_rate", src_sample_rate)
    *lead, src_n = source.shape
    if dst_n is None:
        dst_n = resample_len(src_n, dst_sample_rate=dst_sample_rate, src_sample_rate=src_sample_rate)
    dst = result(out, (*lead, integer("dst_n", dst_n)), np.float32, src)
    call_each(library.kelvoAudioResample, item_count(source, 1), integer("threads", threads), items(dst, 1),
              items(source, 1), dst_sample_rate, dst_n, src_sample_rate, src_n)
    return dst
