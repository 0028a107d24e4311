"""The Python example over the built library: shapes, values against NumPy, round trips and errors.

Usage: python_binding.py LIBRARY PROJECT
"""
import os
import re
import subprocess
import sys
import tempfile
import unittest
import wave
from pathlib import Path

try:
    import numpy as np
except ImportError:
    print("NumPy is missing")
    sys.exit(77)

LIBRARY, README, EXAMPLES = sys.argv[1], Path(sys.argv[2]) / "README.md", Path(sys.argv[2]) / "examples/python"
os.environ["KELVO_AUDIO_LIBRARY"] = LIBRARY
sys.path.insert(0, str(EXAMPLES))
import kelvo_audio as ka  # noqa: E402

SIGNAL = np.random.default_rng(1).standard_normal(16000).astype(np.float32)
SINE = np.sin(2 * np.pi * 440 * np.arange(16000) / 16000).astype(np.float32)


def noise_db(signal, copy):
    return 20 * np.log10(np.linalg.norm(np.subtract(signal, copy, dtype=complex)) / np.linalg.norm(signal))


class Binding(unittest.TestCase):
    def test_fft_and_spectrogram_agree_with_numpy(self):
        self.assertLess(noise_db(np.fft.fft(SIGNAL[:1000]), ka.fft(SIGNAL[:1000])), -130)
        bins = ka.spectrogram(SIGNAL, 512, 128)
        self.assertEqual(bins.shape, (257, 126))
        window = 0.5 - 0.5 * np.cos(2 * np.pi * np.arange(512) / 512)
        expected = np.fft.rfft(SIGNAL[128 * 50 - 256 : 128 * 50 + 256] * window)
        self.assertLess(noise_db(expected, bins[:, 50]), -120)
        np.testing.assert_allclose(ka.spectrogram(SIGNAL, 512, 128, power=1), np.abs(bins), rtol=1e-5)

    def test_spectrogram_round_trip(self):
        for fft_n, hop_n, win_n in ((400, 160, 400), (512, 128, 400)):
            back = ka.inverse_spectrogram(ka.spectrogram(SIGNAL, fft_n, hop_n, win_n), hop_n, win_n, SIGNAL.size)
            self.assertLess(noise_db(SIGNAL, back), -120)

    def test_log_mel_of_a_sine(self):
        db = ka.power_to_db(ka.mel_spectrogram(SINE))
        self.assertEqual(db.shape, (80, 101))
        self.assertEqual(db.max(), 0)
        # 440 Hz is 6.6 mel of the 45.2 that 81 steps share; band m is centred on step m + 1.
        self.assertEqual(set(np.argmax(db[:, 2:-2], axis=0)), {round(6.6 / (45.245 / 81)) - 1})

    def test_resample_keeps_a_sine(self):
        up = ka.resample(SINE, 16000, 48000)
        self.assertEqual(up.size, 48000)
        # The phases lie a half step of the output off the source's grid: a third of a sample here, less the rounding.
        spectrum = np.abs(np.fft.rfft(up[3000:-3000] * np.hanning(42000)))
        self.assertEqual(np.argmax(spectrum), round(440 * 42000 / 48000))

    def test_filtfilt_has_zero_phase(self):
        smooth = ka.filtfilt([0.25, 0.5, 0.25], [1], SINE)
        gain = np.cos(np.pi * 440 / 16000) ** 4  # the filter's gain cos^2(w / 2), twice
        self.assertLess(noise_db(SINE[20:-20], smooth[20:-20] / gain), -120)

    def test_errors(self):
        for call in (lambda: ka.fft([]), lambda: ka.fft(np.ones((2, 2))), lambda: ka.mel_spectrogram(SIGNAL, mel_n=201),
                     lambda: ka.spectrogram(SIGNAL, 400, 160, 401), lambda: ka.resample(SIGNAL, 0, 8000)):
            self.assertRaises(ValueError, call)
        self.assertEqual(ka.mel_spectrogram(SIGNAL[:399]).shape, (80, 0))

    def test_sample_in_readme(self):
        names = {}
        for sample in re.findall(r"^```python\n(.*?)^```", README.read_text(), re.M | re.S):
            exec(sample, names)
        self.assertEqual(names["log_mel"].shape, (80, 101))

    def test_sample_program(self):
        with tempfile.TemporaryDirectory() as folder:
            recording, features = f"{folder}/stereo.wav", f"{folder}/features.npy"
            with wave.open(recording, "wb") as file:
                file.setparams((2, 2, 8000, 0, "NONE", ""))
                file.writeframes((np.repeat(SINE, 2) * 10000).astype("<i2").tobytes())
            command = [sys.executable, EXAMPLES / "log_mel.py", recording, features]
            done = subprocess.run(command, capture_output=True, text=True)
            self.assertEqual(done.stdout, "80 bands x 201 frames, -80.0 to 0.0 dB\n", done.stderr)
            self.assertEqual(np.load(features).shape, (80, 201))


unittest.main(argv=sys.argv[:1])
