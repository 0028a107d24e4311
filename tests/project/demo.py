"""The log_mel example: what it prints and writes for a recording, and its errors without one.

Usage: demo.py EXECUTABLE
"""
import array
import math
import os
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import wave
from pathlib import Path

EXECUTABLE = sys.argv[1]


def write_wav(path, seconds, rate, channels=1):
    """Half a second of silence, then a tone of 1 kHz."""
    tone = (12000 * math.sin(2 * math.pi * 1000 * t / rate) for t in range(int(seconds * rate)))
    samples = [sample if t >= rate / 2 else 0.0 for t, sample in enumerate(tone)]
    with wave.open(str(path), "wb") as file:
        file.setparams((channels, 2, rate, 0, "NONE", ""))
        file.writeframes(array.array("h", (round(x) for x in samples for _ in range(channels))).tobytes())


def png_size(path):
    head = path.read_bytes()[:24]
    assert head[:8] == b"\x89PNG\r\n\x1a\n"
    return struct.unpack(">II", head[16:])


class Demo(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.output = self.folder / "output"

    def run_demo(self, *arguments):
        command = [EXECUTABLE, "--output", self.output, *map(str, arguments)]
        return subprocess.run(command, capture_output=True, text=True)

    def outputs(self):
        return sorted(os.listdir(self.output)) if self.output.exists() else []

    def test_recording(self):
        for rate, channels, band in ((16000, 1, ()), (44100, 2, ("--band-pass", 300, 3000))):
            recording = self.folder / f"tone{rate}.wav"
            write_wav(recording, 2, rate, channels)
            done = self.run_demo(*band, recording)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertIn("80 bands x 201 frames, -80.0 to 0.0 dB", done.stdout)
            start, end = map(float, re.search(r"not silent +([\d.]+) to ([\d.]+) s", done.stdout).groups())
            self.assertAlmostEqual(start, 0.5, delta=0.03)
            self.assertAlmostEqual(end, 2.0, delta=0.01)
            self.assertGreater(float(re.search(r"ratio ([\d.]+) dB", done.stdout)[1]), 120)
            self.assertEqual(png_size(self.output / f"tone{rate}.png"), (1024, 600))
        self.assertEqual(self.outputs(), ["tone16000-resynthesised.wav", "tone16000.png", "tone44100-band-pass.wav",
                                          "tone44100-resynthesised.wav", "tone44100.png"])

    def test_silent_recording(self):
        write_wav(self.folder / "silence.wav", 0.4, 16000)
        done = self.run_demo(self.folder / "silence.wav")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("\nsilent ", done.stdout)
        self.assertNotIn("not silent", done.stdout)

    def test_no_usable_recording(self):
        def path(name, content):
            (self.folder / name).write_bytes(content)
            return self.folder / name

        write_wav(self.folder / "good.wav", 1, 16000)
        write_wav(self.folder / "none.wav", 0, 16000)
        write_wav(self.folder / "short.wav", 0.02, 16000)
        (self.folder / "in_the_way").touch()
        infinite = struct.pack("<4sI4s4sIHHIIHH4sI200f", b"RIFF", 836, b"WAVE", b"fmt ", 16, 3, 1, 16000, 64000, 4, 32,
                               b"data", 800, *[math.inf] * 200)
        for arguments, reason in {
            (self.folder / "missing.wav",): "No such file",
            (self.folder,): "folder",
            (path("empty.wav", b""),): "empty",
            (path("noise.wav", bytes(range(256)) * 9),): "ormat",
            (self.folder / "none.wav",): "no samples",
            (self.folder / "short.wav",): "shorter than one frame",
            (path("infinite.wav", infinite),): "not finite",
            ("--output", self.folder / "in_the_way", self.folder / "good.wav"): "in_the_way",
        }.items():
            done = self.run_demo(*arguments)
            self.assertEqual(done.returncode, 1, done.stderr)
            self.assertRegex(done.stderr, rf"\Alog_mel: [^\n]*{reason}[^\n]*\n\Z")
            self.assertEqual(self.outputs(), [])

    def test_nothing_half_written(self):
        write_wav(self.folder / "good.wav", 1, 16000)
        (self.output / "good.png").mkdir(parents=True)  # the picture cannot take its place
        self.assertEqual(self.run_demo(self.folder / "good.wav").returncode, 1)
        self.assertFalse([name for name in self.outputs() if name.endswith(".part")])

    def test_wrong_usage(self):
        for line in ("", "a.wav b.wav", "--loud a.wav", "a.wav --output", "--band-pass 300 a.wav",
                     "--band-pass 3000 300 a.wav", "--band-pass 300 8000 a.wav", "--band-pass nan 3000 a.wav"):
            arguments = line.split()
            done = self.run_demo(*arguments)
            self.assertEqual(done.returncode, 2, arguments)
            self.assertIn("usage:", done.stderr)


unittest.main(argv=sys.argv[:1])
