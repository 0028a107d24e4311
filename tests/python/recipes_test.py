"""docs/recipes.md: its code gives the stored values of other packages, as closely as its table says.

Usage: recipes_test.py PROJECT, with the package in PYTHONPATH and KELVO_AUDIO_LIBRARY set
"""
import importlib.util
import re
import sys
import unittest
from pathlib import Path

import numpy as np
import running

PROJECT = Path(sys.argv[1])
sys.path.insert(0, str(PROJECT / "tests/golden"))
import kelvo_audio as ka  # noqa: E402
from kelvo_audio import recipes  # noqa: E402
from signals import phrase, sweep  # noqa: E402

PAGE = (PROJECT / "docs/recipes.md").read_text()
GOLDEN = dict(np.load(PROJECT / "tests/golden/golden.npz"))
ROWS = [[cell.strip(" `") for cell in row.split(" | ")] for row in re.findall(r"^\| (`.*\)` \| .*) \|$", PAGE, re.M)]
COSTS = {call: (float(largest), float(mean)) for call, largest, mean in ROWS if re.fullmatch(r"[\d.]+", largest)}
PARITY = {call: bound for call, _, bound in ROWS if call not in COSTS}

names = {"x": sweep(), "phrase": phrase, "ka": ka, **vars(recipes),
         "magnitudes": ka.spectrogram(sweep(), hop_n=100, power=1),
         **{name: GOLDEN.pop(name) for name in ("b", "a", "high_pass", "low_pass")}}
HAS_SCIPY = bool(importlib.util.find_spec("scipy"))  # whose cosine transform MFCC take


class Recipes(unittest.TestCase):
    def test_parity(self):
        self.assertEqual(set(PARITY), set(GOLDEN))
        for call, bound in PARITY.items():
            with self.subTest(call):
                if "mfcc" in call and not HAS_SCIPY:
                    self.skipTest("python3-scipy is missing")
                expected, got = GOLDEN[call], np.asarray(eval(call, names))
                self.assertEqual(got.shape, expected.shape)
                difference = np.abs(got.astype(complex) - expected)
                if bound.endswith("of the peak"):
                    difference /= np.abs(expected).max()
                elif bound.endswith("of each value"):
                    # A filter that no bin lies under is 0 on both sides.
                    difference /= np.where(expected == 0, 1, expected)
                print(f"{call}: {difference.max():.2g}, bound {bound}")
                self.assertLessEqual(difference.max(), float(bound.split()[0]))

    @unittest.skipUnless(HAS_SCIPY, "python3-scipy is missing")
    def test_page(self):
        for code in re.findall(r"^```python\n(.*?)^```", PAGE, re.M | re.S):
            exec(code, names)

    def test_batches_by_name(self):
        """A recipe's result for a signal does not depend on the others of a batch, and settings reach it."""
        batch = np.stack([names["x"], 0.1 * names["x"]])
        for name in recipes.RECIPES:
            with self.subTest(name):
                if "mfcc" in name and not HAS_SCIPY:
                    self.skipTest("python3-scipy is missing")
                features = recipes.log_mel(batch, recipe=name)
                for signal, expected in zip(batch, features):
                    np.testing.assert_array_equal(recipes.log_mel(signal, recipe=name), expected)
                self.assertEqual(features.dtype, np.float32)
                fewer = recipes.log_mel(batch, recipe=name, f_max=7000)
                self.assertTrue(fewer.shape == features.shape and np.any(fewer != features))
        with self.assertRaisesRegex(ValueError, "recipe: must be whisper"):
            recipes.log_mel(batch, recipe="wisper")
        self.assertEqual(recipes.log_mel(batch[:, :300]).shape, (2, 80, 0))

    def test_griffin_lim_recovers_a_phase(self):
        target = names["magnitudes"]
        errors = []
        for iteration_n in (0, 32):
            signal = recipes.griffin_lim(target, hop_n=100, iteration_n=iteration_n)
            errors.append(np.linalg.norm(ka.spectrogram(signal, hop_n=100, power=1) - target) / np.linalg.norm(target))
        print("spectral convergence", *errors)
        self.assertLess(errors[1], errors[0] / 5)

    def test_griffin_lim_of_any_length(self):
        target = names["magnitudes"]
        for magnitude, hop_n, sample_n in ((target, 100, 50), (target, 100, None), (np.ones((2, 2)), 1, None)):
            signal = recipes.griffin_lim(magnitude, hop_n=hop_n, max_sample_n=sample_n, iteration_n=2)
            whole_n = (magnitude.shape[1] - 1) * hop_n
            self.assertEqual(signal.shape, (sample_n or whole_n,))

    def test_errors_name_the_argument(self):
        x, bins = names["x"], np.ones((1, 4), np.complex64)
        for name, kind, call in (
            ("x", TypeError, lambda: recipes.torchaudio_mel([1, 2])),
            ("x", ValueError, lambda: recipes.trim([])),
            ("bins", ValueError, lambda: recipes.scipy_istft(bins, 4)),
            ("magnitude", ValueError, lambda: recipes.griffin_lim(bins.real, hop_n=4)),
            ("hop_n", ValueError, lambda: recipes.griffin_lim(np.ones((5, 4)), hop_n=0)),
            ("momentum", ValueError, lambda: recipes.griffin_lim(np.ones((5, 4)), hop_n=1, momentum=-1)),
            ("hop_n", ValueError, lambda: recipes.librosa_mel(x, hop_n=0)),
            ("fft_n", TypeError, lambda: recipes.torchaudio_mel(x, fft_n="400")),
            ("normalized", TypeError, lambda: recipes.torchaudio_mel(x, normalized="frame_length")),
            ("normalized", TypeError, lambda: recipes.torchaudio_mel(x, normalized=np.ones(2))),
            ("top_db", ValueError, lambda: recipes.trim(x, top_db=-1)),
            ("recipe", ValueError, lambda: recipes.log_mel(x, recipe=[])),
        ):
            with self.subTest(name), self.assertRaisesRegex(kind, rf"\A{name}: "):
                call()
        with self.assertWarns(ka.KelvoAudioWarning):
            self.assertEqual(recipes.whisper_log_mel(x[:100]).shape, (80, 0))

    def test_wrong_settings_cost_what_the_page_says(self):
        right = names["whisper_log_mel"](names["x"])
        self.assertGreater(len(COSTS), 5)
        for call, (largest, mean) in COSTS.items():
            with self.subTest(call):
                wrong = eval(call, names)
                frame_n = min(right.shape[1], wrong.shape[1])
                change = np.abs(wrong[:, :frame_n] - right[:, :frame_n])
                print(f"{call}: {change.max():.2f} {change.mean():.2f}")
                self.assertAlmostEqual(change.max(), largest, delta=0.006)
                self.assertAlmostEqual(change.mean(), mean, delta=0.006)

    def test_resampled_lengths(self):
        rates = (8000, 11025, 16000, 22050, 24000, 32000, 44100, 48000)
        for src, dst in ((src, dst) for src in rates for dst in rates):
            for sample_n in (*range(1, 50), 147, 441, 16000, 48000, 1234567):
                exact = -(-sample_n * dst // src)  # the length of scipy.signal.resample_poly's output
                length = ka.resample_len(sample_n, dst_sample_rate=dst, src_sample_rate=src)
                self.assertIn(length - exact, (0, 1) if sample_n * dst % src == 0 else (0,), (src, dst, sample_n))

    def test_two_zeros_complete_a_resampled_signal(self):
        x = names["x"] + 3  # nowhere zero
        for src, dst, zero_n in ((16000, 8000, 1), (48000, 16000, 1), (44100, 16000, 1), (16000, 32000, 2),
                                 (16000, 48000, 4), (8000, 48000, 8)):
            rates = {"src_sample_rate": src, "dst_sample_rate": dst}
            plain = ka.resample(x, **rates)
            complete = ka.resample(np.append(x, [0, 0]), **rates)[: plain.size]
            self.assertTrue(np.all(plain[:-zero_n]) and not np.any(plain[plain.size - zero_n + 1 :]), rates)
            self.assertTrue(np.all(complete), rates)
            computed = plain != 0
            np.testing.assert_array_equal(complete[computed], plain[computed])


running.main(warnings="ignore")
