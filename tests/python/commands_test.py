"""python -m kelvo_audio for one recording: what it writes, prints and refuses.

Usage: commands_test.py PROJECT, with the package in PYTHONPATH and KELVO_AUDIO_LIBRARY set
"""
import importlib.util
import re
import shlex
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np
import running

import kelvo_audio as ka
from kelvo_audio import recipes, recordings
from kelvo_audio.__main__ import parser

PROJECT = Path(sys.argv[1])


def command(*arguments):
    return subprocess.run([sys.executable, "-m", "kelvo_audio", *map(str, arguments)], capture_output=True, text=True)


class Commands(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        t = np.arange(48000) / 48000
        tone = np.where(t < 0.5, 0, 0.5 * np.sin(2 * np.pi * 1000 * t))
        self.recording = self.folder / "tone.flac"
        soundfile.write(self.recording, np.stack([tone, -0.5 * tone], axis=1), 48000)

    def test_features(self):
        output = self.folder / "x.npy"
        self.assertEqual(command("features", self.recording, "-o", output, "--set", "mel_n=40").returncode, 0)
        signal, _ = soundfile.read(self.recording, dtype="float32")
        resampled = ka.resample(np.append(signal.mean(axis=1), [0, 0]), dst_sample_rate=16000, src_sample_rate=48000)
        np.testing.assert_array_equal(np.load(output), recipes.log_mel(resampled[:16000], mel_n=40))

    def test_picture(self):
        if not importlib.util.find_spec("matplotlib"):
            self.skipTest("python3-matplotlib is missing")
        self.assertEqual(command("features", self.recording, "--plot", self.folder / "x.png").returncode, 0)
        self.assertEqual((self.folder / "x.png").read_bytes()[:4], b"\x89PNG")

    def test_resample(self):
        output = self.folder / "low.wav"
        self.assertEqual(command("resample", self.recording, output, "--rate", 8000, "--channel", 1).returncode, 0)
        signal, rate = soundfile.read(output)
        self.assertEqual((rate, signal.shape), (8000, (8000,)))
        expected = -0.25 * np.sin(2 * np.pi * 1000 * np.arange(4100, 7900) / 8000)
        # By way of 16 kHz, each step half a sample of its output late at most, and 16 bits.
        self.assertLess(np.abs(signal[4100:7900]).max(), 0.26)
        self.assertGreater(np.abs(np.fft.rfft(signal[4100:7900]) @ np.conj(np.fft.rfft(expected))) /
                           np.linalg.norm(np.fft.rfft(expected)) ** 2, 0.99)

    def test_rates_by_steps_and_to_the_end(self):
        x = np.random.default_rng(5).random(3000).astype(np.float32) + 3  # nowhere zero
        for rates in ((16000, 16000), (48000, 16000), (16000, 48000), (48000, 16000, 8000), (44100, 16000, 8000),
                      (192000, 64000, 22050), (384000, 128000, 42667, 16000, 8000)):
            expected = x
            for src, dst in zip(rates, rates[1:]):
                if src != dst:
                    rate = {"src_sample_rate": src, "dst_sample_rate": dst}
                    expected = ka.resample(np.append(expected, [0, 0]), **rate)[: ka.resample_len(expected.size, **rate)]
            got = recordings.at_rate(x, rates[0], rates[-1])
            np.testing.assert_array_equal(got, expected, f"{rates}")
            self.assertTrue(np.all(got), rates)

    def test_channels_are_added_in_order(self):
        for sample_n, channel_n in ((3, 1), (recordings.BLOCK, 2), (recordings.BLOCK * 2 + 5, 3)):
            signal = np.random.default_rng(6).standard_normal((sample_n, channel_n)).astype(np.float32)
            expected = [sum(map(float, frame)) / channel_n for frame in signal]
            np.testing.assert_array_equal(recordings.mixed_down(signal), np.float32(expected))

    def test_info(self):
        done = command("info", self.recording)
        self.assertRegex(done.stdout, r"FLAC PCM_16, 2 channel\(s\), 48000 Hz, 48000 samples, 1.000 s\n"
                                      r"peak -18.1 dB, rms -24.1 dB\nnot silent 0.48 to 1.00 s\n")
        soundfile.write(self.recording, np.zeros(100), 8000)
        self.assertIn("peak -inf dB, rms -inf dB\nsilent\n", command("info", self.recording).stdout)
        soundfile.write(self.recording, np.full(100, 0.5), 8000)
        done = command("info", self.recording)
        self.assertIn("\nnot silent 0.00 to 0.01 s\n", done.stdout)
        self.assertEqual(done.stderr, "")
        self.assertIn(ka.__version__, command("info").stdout)

    def test_documented_commands(self):
        pages = [(PROJECT / "python/README.md").read_text(),
                 *(command(name, "--help").stdout for name in ("features", "resample", "info", "corpus"))]
        for page in pages:
            lines = re.findall(r"^ *python -m kelvo_audio (.*)", page, re.M)
            self.assertTrue(lines, page)
            for line in lines:
                with self.subTest(line):
                    parser().parse_args(shlex.split(line, comments=True))  # which exits where it cannot

    def test_refusals(self):
        (self.folder / "broken.wav").write_bytes(b"RIFF")
        for code, text, arguments in (
            (1, "broken.wav: ", ["features", self.folder / "broken.wav"]),
            (1, "has no channel 2, but 2", ["features", self.recording, "--channel", 2]),
            (1, "mel_n: must be 1 to 200, got 500", ["features", self.recording, "--set", "mel_n=500"]),
            (1, "unexpected keyword argument 'mel'", ["features", self.recording, "--set", "mel=50"]),
            (2, "expected mean or the number", ["features", self.recording, "--channel", "left"]),
            (2, "invalid choice: 'wisper'", ["features", self.recording, "--recipe", "wisper"]),
            (1, "dst_sample_rate: must be 1 to", ["resample", self.recording, self.folder / "x.wav", "--rate", 0]),
        ):
            with self.subTest(text):
                done = command(*arguments)
                self.assertEqual(done.returncode, code)
                self.assertIn(text, done.stderr)
                self.assertNotIn("Traceback", done.stderr)


if __name__ == "__main__":
    if not importlib.util.find_spec("soundfile"):
        print("python3-soundfile is missing")
        sys.exit(running.SKIPPED)
    import soundfile
    running.main()
