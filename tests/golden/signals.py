"""The signals behind the golden values: formulas instead of recordings, so that only results are stored.

Integers, sums and products alone, which every machine rounds alike.
"""

import numpy as np


def wave(half_turns: np.ndarray) -> np.ndarray:
    """A sine drawn with parabolas: its third harmonic lies 29 dB below it."""
    p = half_turns % 2 - 1
    return -4 * p * (1 - np.abs(p))


def noise(i: np.ndarray) -> np.ndarray:
    return (i * i * 73 + i * 19) % 65537 / 65537 - 0.5


def sweep(sample_n: int = 2600) -> np.ndarray:
    """A sweep over nearly the whole band at changing loudness, over noise."""
    i = np.arange(sample_n)
    loudness = 0.6 + 0.4 * wave(6 * i / sample_n)
    return (0.5 * loudness * wave(0.47 * i * i / sample_n + 0.01 * i) + 0.02 * noise(i)).astype(np.float32)


def phrase(lead: int, tail: int) -> np.ndarray:
    """Two bursts with a pause between them, after lead and before tail samples of faint noise."""
    i = np.arange(lead + 9000 + tail)
    burst = np.where((i >= lead) & (i < lead + 3000) | (i >= lead + 6000) & (i < lead + 9000), 0.5, 0)
    return (burst * wave(0.064 * i) + 0.0006 * noise(i)).astype(np.float32)
