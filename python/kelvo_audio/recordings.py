"""Recordings: read through soundfile, mixed down, and brought to another sample rate."""

from pathlib import Path

import numpy as np

from ._checks import Floats, integer
from .rates import resample, resample_len

BLOCK = 2**14  # frames mixed down at a time: sums of all would lie in fresh memory, which the kernel has to clear
STEEPEST = 3  # falls of the rate by more than that go by steps: docs/recipes.md says what one step would cost


def suffixes() -> set[str]:
    """Of the files that soundfile reads, as .wav."""
    import soundfile

    return {f".{name.lower()}" for name in soundfile.available_formats() if name != "RAW"} | {".oga", ".opus", ".aif"}


def mixed_down(signal: Floats) -> Floats:
    """The mean of the channels [n, channels], added in order and in double precision, so that no shape decides a bit."""
    sample_n, channel_n = signal.shape
    if channel_n == 1:
        return signal[:, 0]
    mono = np.empty(sample_n, np.float32)
    for start in range(0, sample_n, BLOCK):
        first, second, *others = signal[start : start + BLOCK].T
        mixed = np.add(first, second, dtype=float)
        for other in others:
            mixed += other
        np.divide(mixed, channel_n, out=mono[start : start + BLOCK], casting="same_kind")
    return mono


def read(path: Path | str, channel: str = "mean") -> tuple[Floats, int]:
    """Samples [n] in -1 .. 1 and their rate; channel is mean or the number of one channel."""
    import soundfile

    try:
        # In one piece: in several, soundfile seeks after each, and lossy formats give other samples behind a seek.
        signal, rate = soundfile.read(str(path), dtype="float32", always_2d=True)
    except (soundfile.SoundFileError, OSError, MemoryError, ValueError) as error:
        raise ValueError(f"{path}: {error}") from None
    if signal.shape[0] == 0:
        raise ValueError(f"{path}: holds no samples")
    if channel == "mean":
        return mixed_down(signal), rate
    if not 0 <= int(channel) < signal.shape[1]:
        raise ValueError(f"{path}: has no channel {channel}, but {signal.shape[1]}")
    return np.ascontiguousarray(signal[:, int(channel)]), rate


def at_rate(signal: Floats, src_sample_rate: int, dst_sample_rate: int) -> Floats:
    """The signal at another rate, its last samples computed too."""
    integer("dst_sample_rate", dst_sample_rate)
    while src_sample_rate != dst_sample_rate:
        rate = dst_sample_rate
        if src_sample_rate > STEEPEST * dst_sample_rate:
            rate = max(2 * dst_sample_rate, -(-src_sample_rate // STEEPEST))
        rates = {"dst_sample_rate": rate, "src_sample_rate": src_sample_rate}
        length = resample_len(signal.shape[-1], **rates)
        # Outputs end where they are centred on the last input; two zeros let the last ones be computed.
        signal = resample(np.append(signal, np.zeros(2, np.float32)), **rates)[:length]
        src_sample_rate = rate
    return signal
