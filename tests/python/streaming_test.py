"""The streaming example: blocks of any size give the bits of one call over the whole signal.

Usage: streaming_test.py PROJECT, with the package in PYTHONPATH and KELVO_AUDIO_LIBRARY set
"""
import random
import re
import subprocess
import sys
import tempfile
import unittest
import wave
from pathlib import Path

import numpy as np

import kelvo_audio as ka

EXAMPLES = Path(sys.argv[1]) / "examples/python"
sys.path.insert(0, str(EXAMPLES))
from streaming import FilterStream, FrameStream, ResampleStream  # noqa: E402

SIGNAL = np.random.default_rng(3).standard_normal(9111).astype(np.float32)
SECTIONS = [[0.25, 0.5, 0.25, 1, -0.5, 0.1], [0.5, -0.5, 0, 2, 0.3, 0]]


def in_blocks(stream, signal, longest, axis=0):
    draw, start, parts = random.Random(longest), 0, []
    while start < len(signal):
        block_n = draw.randint(1, longest)
        parts.append(stream.push(signal[start : start + block_n]))
        start += block_n
    if hasattr(stream, "finish"):
        parts.append(stream.finish())
    return np.concatenate(parts, axis)


class Streaming(unittest.TestCase):
    def test_frames(self):
        for fft_n, hop_n in ((400, 160), (512, 128), (401, 97)):
            sizes = {"fft_n": fft_n, "hop_n": hop_n}
            for compute in (lambda signal, center: ka.mel_spectrogram(signal, center=center, **sizes),
                            lambda signal, center: ka.spectrogram(signal, center=center, **sizes)):
                for center in ka.Center:
                    for sample_n in (9111, 8960, fft_n, fft_n - 1):
                        expected = compute(SIGNAL[:sample_n], center)
                        for longest in (37, 1000):
                            stream = FrameStream(lambda kept: compute(kept, ka.Center.NONE), center=center, **sizes)
                            got = in_blocks(stream, SIGNAL[:sample_n], longest, axis=1)
                            np.testing.assert_array_equal(got, expected, f"{sizes} {center!r} {sample_n} {longest}")

    def test_filter(self):
        zi = ka.sosfilt_zi(SECTIONS) * SIGNAL[0]
        expected, _ = ka.sosfilt(SECTIONS, SIGNAL, zi)
        np.testing.assert_array_equal(in_blocks(FilterStream(SECTIONS, zi), SIGNAL, 500), expected)
        np.testing.assert_array_equal(in_blocks(FilterStream(SECTIONS), SIGNAL, 500), ka.sosfilt(SECTIONS, SIGNAL))

    def test_resampling(self):
        for src, dst in ((48000, 16000), (44100, 16000), (16000, 44100), (44100, 48000), (16000, 48000), (7, 5),
                         (1, 9)):
            for sample_n in (1, 2, 40, 3000, 9111):
                for longest in (11, 1000):
                    rates = {"src_sample_rate": src, "dst_sample_rate": dst}
                    got = in_blocks(ResampleStream(**rates), SIGNAL[:sample_n], longest)
                    np.testing.assert_array_equal(got, ka.resample(SIGNAL[:sample_n], **rates), f"{rates} {sample_n}")

    def test_program(self):
        with tempfile.TemporaryDirectory() as folder:
            with wave.open(f"{folder}/tone.wav", "wb") as file:
                file.setparams((1, 2, 48000, 0, "NONE", ""))
                file.writeframes((np.sin(np.arange(48000) * 0.0576) * 10000).astype("<i2").tobytes())  # 440 Hz
            command = [sys.executable, EXAMPLES / "streaming.py", f"{folder}/tone.wav"]
            done = subprocess.run(command, capture_output=True, text=True)
        self.assertRegex(done.stdout, r"0\.9 s: 10 frames, loudest band 11\nat the end: \d frames\n\Z", done.stderr)
        self.assertEqual(sum(map(int, re.findall(r"(\d+) frames", done.stdout))), 101)


unittest.main(argv=sys.argv[:1], warnings="ignore")
