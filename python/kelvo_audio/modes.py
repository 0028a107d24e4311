"""The modes that settings take: the C header's enumerations under the same numbers."""

from enum import IntEnum


class Window(IntEnum):
    """win_type: both windows are periodic, w[i] = a - b * cos(2 pi i / n)."""

    HANN = 1
    HAMMING = 2


class Center(IntEnum):
    """center: what lies beyond the ends of the signal when frame t is centred on sample t * hop_n."""

    NONE = 0  # not centred: frame t starts at sample t * hop_n
    REFLECT = 1  # fft_n // 2 samples mirrored about each end, the end itself not repeated
    ZERO = 2  # fft_n // 2 zeros at each end


class Norm(IntEnum):
    """norm_type, fft_norm_type: a factor on every complex bin."""

    NONE = 0
    WINDOW_L2 = 1  # 1 / sqrt(sum of the squared window)
    TWO_OVER_N = 2  # 2 / fft_n


class MelNorm(IntEnum):
    """mel_norm: the height of a filter."""

    NONE = 0  # peak 1
    SLANEY = 1  # 2 / (width of the band in Hz): equal areas


class MelFormula(IntEnum):
    """mel_formula: the mel scale."""

    SLANEY = 0  # linear below 1000 Hz, logarithmic above
    HTK = 1  # 2595 log10(1 + f / 700)


class Phase(IntEnum):
    """phase_form: how a phase is given."""

    ANGLE = 0  # radians in [-pi, pi]
    COMPLEX = 1  # (cos, sin) of the angle


class Pad(IntEnum):
    """pad_type: how a signal x[0 .. n-1] goes on beyond its ends, d samples away from the end."""

    NONE = 0
    ODD = 1  # 2 x[0] - x[d] and 2 x[n-1] - x[n-1-d]
    EVEN = 2  # x[d] and x[n-1-d]
    CONSTANT = 3  # x[0] and x[n-1]
