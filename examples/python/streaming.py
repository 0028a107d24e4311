"""Block-wise frames, filters and resampling, over functions that keep no state. Each gives the bits of one call.

Usage: streaming.py RECORDING.wav    prints the loudest mel band of each 100 ms as the blocks come in
"""

import math
import sys

import numpy as np

import kelvo_audio as ka
from log_mel import read_wav

EMPTY = np.empty(0, np.float32)


class FrameStream:
    """Frames of a signal that arrives in blocks. `transform` gets a signal to be framed without centring.

    push() and finish() give [rows, frames]: the columns that one call over the whole signal, with the same `center`,
    would give next. Reflection needs hop_n < fft_n // 2.
    """

    def __init__(self, transform, fft_n=400, hop_n=160, center=ka.Center.NONE):
        self.transform, self.fft_n, self.hop_n, self.center = transform, fft_n, hop_n, center
        self.pad_n = 0 if center == ka.Center.NONE else fft_n // 2
        self.kept, self.sample_n, self.starts = EMPTY, 0, True

    def push(self, block):
        self.sample_n += len(block)
        self._keep(self.kept, block)
        if self.starts and self.sample_n >= self.fft_n:  # a shorter signal has no frames, centred or not
            mirrored = self.kept[self.pad_n : 0 : -1]
            self._keep(mirrored if self.center == ka.Center.REFLECT else np.zeros(self.pad_n), self.kept)
            self.starts = False
        return self._frames()

    def finish(self):
        """The frames that reach beyond the end."""
        frame_n = ka.frame_len(max(self.sample_n, 1), self.fft_n, self.hop_n, self.center)
        missing = max(0, self.fft_n + (frame_n - 1) * self.hop_n - self.pad_n - self.sample_n)
        if frame_n > 0 and self.center != ka.Center.NONE:
            mirrored = self.kept[-2 : -missing - 2 : -1]
            self._keep(self.kept, mirrored if self.center == ka.Center.REFLECT else np.zeros(missing))
        return self._frames()

    def _keep(self, *parts):
        self.kept = np.concatenate(parts, dtype=np.float32)

    def _frames(self):
        frame_n = 0 if self.starts else max(0, 1 + (len(self.kept) - self.fft_n) // self.hop_n)
        if frame_n == 0:  # the right number of rows, and no columns
            return self.transform(np.zeros(self.fft_n))[:, :0]
        columns = self.transform(self.kept)
        self.kept = self.kept[frame_n * self.hop_n :]
        return columns


class FilterStream:
    """Second-order sections whose state carries over; zi=None starts from silence."""

    def __init__(self, sos, zi=None):
        self.sos, self.state = sos, np.zeros((len(sos), 2), np.float32) if zi is None else zi

    def push(self, block):
        filtered, self.state = ka.sosfilt(self.sos, block, self.state)
        return filtered


class ResampleStream:
    """Resamples whole cycles, after which the filters repeat, and keeps the cycles that they reach back into."""

    REACH = 32  # inputs to each side that an output depends on

    def __init__(self, *, dst_sample_rate, src_sample_rate):
        self.rates = {"dst_sample_rate": dst_sample_rate, "src_sample_rate": src_sample_rate}
        divisor = math.gcd(dst_sample_rate, src_sample_rate)
        self.up, self.down = dst_sample_rate // divisor, src_sample_rate // divisor
        self.context = math.ceil(self.REACH / self.down)  # cycles
        self.kept, self.given = EMPTY, 0  # samples, and the cycles at their start whose output was given before
        self.src_n = self.dst_n = 0

    def push(self, block):
        self.src_n += len(block)
        self.kept = np.concatenate((self.kept, block), dtype=np.float32)
        # Cycles that enough input follows: one sample more than the reach, since a call ends where that meets the end.
        cycles = max(self.given, (len(self.kept) - self.REACH - 1) // self.down)
        resampled = self._resample(cycles * self.up)
        dropped = max(0, cycles - self.context)
        self.kept, self.given = self.kept[dropped * self.down :], cycles - dropped
        return resampled

    def finish(self):
        whole = ka.resample_len(self.src_n, **self.rates) if self.src_n else 0
        return self._resample(whole - self.dst_n + self.given * self.up)

    def _resample(self, end):
        old = self.given * self.up
        if end <= old:
            return EMPTY
        self.dst_n += end - old
        return ka.resample(self.kept, dst_n=end, **self.rates)[old:]


def main(recording):
    signal, rate = read_wav(recording)
    resampling = ResampleStream(dst_sample_rate=16000, src_sample_rate=rate)
    frames = FrameStream(lambda kept: ka.mel_spectrogram(kept, center=ka.Center.NONE), center=ka.Center.REFLECT)
    block_n = rate // 10
    for start in range(0, len(signal), block_n):
        mel = frames.push(resampling.push(signal[start : start + block_n]))
        if mel.size:
            print(f"{start / rate:5.1f} s: {mel.shape[1]:2} frames, loudest band {mel.sum(axis=1).argmax()}")
    rest = frames.push(resampling.finish()).shape[1] + frames.finish().shape[1]
    print(f"at the end: {rest} frames")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
