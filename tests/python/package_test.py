"""The Python package over the built library: agreement with the header, values, errors, and the samples.

Usage: package_test.py PROJECT, with the package in PYTHONPATH and KELVO_AUDIO_LIBRARY set
"""
import functools
import importlib.util
import inspect
import multiprocessing
import random
import re
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import unittest.mock
import warnings
import wave
from concurrent.futures import ProcessPoolExecutor
from pathlib import Path

import numpy as np
import running

import kelvo_audio as ka
import kelvo_audio.recipes
from kelvo_audio import _checks, _library

PROJECT = Path(sys.argv[1])
HEADER = (PROJECT / "include/kelvo_audio.h").read_text()
SIGNAL = np.random.default_rng(1).standard_normal(16000).astype(np.float32)
SINE = np.sin(2 * np.pi * 440 * np.arange(16000) / 16000).astype(np.float32)
FUNCTIONS = {name: getattr(ka, name) for name in ka.__all__ if inspect.isfunction(getattr(ka, name))}
SPECTRUM = np.fft.fft(SIGNAL).astype(np.complex64)
SECTIONS = [[0.25, 0.5, 0.25, 1, -0.5, 0.1], [0.5, -0.5, 0, 2, 0.3, 0]]


def noise_db(signal, copy):
    return 20 * np.log10(np.linalg.norm(np.subtract(signal, copy, dtype=complex)) / np.linalg.norm(signal))


class Header(unittest.TestCase):
    def test_parameter_types(self):
        declared = {}
        for name, parameters in re.findall(r"^KELVO_AUDIO_API int (\w+)\((.*?)\);", HEADER, re.M | re.S):
            letters = ["p" if "*" in each else each.split()[0][0] for each in parameters.split(",")]
            declared[name] = "".join(letters)
        self.assertEqual(_library.EXPORTS, declared)

    def test_modes(self):
        prefixes = {ka.Window: "WINDOW", ka.Center: "CENTER", ka.Norm: "NORM", ka.MelNorm: "MEL_NORM",
                    ka.MelFormula: "MEL", ka.Phase: "PHASE", ka.Pad: "PAD"}
        here = {f"KELVO_AUDIO_{prefix}_{each.name}": each.value for modes, prefix in prefixes.items() for each in modes}
        there = {name: int(value) for name, value in re.findall(r"(KELVO_AUDIO_\w+) = (-?\d+)", HEADER)
                 if "STATUS" not in name}
        self.assertEqual(here, there)

    def test_parameter_names(self):
        declared = set(re.findall(r"(\w+)(?:,|\);)", " ".join(re.findall(r"^KELVO_AUDIO_API[^;]*;", HEADER, re.M))))
        for name, function in FUNCTIONS.items():
            own = {"sos", "threads", "out", "ref", "axes"}
            self.assertEqual(set(inspect.signature(function).parameters) - declared - own, set(), name)


class Values(unittest.TestCase):
    def test_against_numpy(self):
        window = 0.5 - 0.5 * np.cos(2 * np.pi * np.arange(512) / 512)
        bins = ka.spectrogram(SIGNAL, fft_n=512, hop_n=128)
        bank = ka.mel_filter_bank(freq_n=257, mel_n=40)
        power = ka.spectrogram(SIGNAL, fft_n=512, hop_n=128, power=2)
        magnitude, phase = ka.mag_phase(bins)
        step = ka.lfilter([0.5, 0.5], [1, -0.5], np.ones(100))
        for name, expected, got, limit_db in (
            ("fft", np.fft.fft(SIGNAL[:1000]), ka.fft(SIGNAL[:1000]), -130),
            ("ifft", np.fft.ifft(bins[:, 9]), ka.ifft(bins[:, 9]), -130),
            ("get_window", window, ka.get_window(512), -140),
            ("spectrogram", np.fft.rfft(SIGNAL[128 * 50 - 256 : 128 * 50 + 256] * window), bins[:, 50], -130),
            ("power", np.abs(bins) ** 2, power, -130),
            ("complex_norm", np.abs(bins), ka.complex_norm(bins), -130),
            ("mag_phase", bins, magnitude * phase, -130),
            ("angle", np.angle(bins), ka.mag_phase(bins, phase_form=ka.Phase.ANGLE)[1], -130),
            ("convert_to_mel", bank @ power, ka.convert_to_mel(power, bank), -120),
            ("inverse_spectrogram", SIGNAL, ka.inverse_spectrogram(bins, hop_n=128), -120),
            ("log1p", np.log1p(SIGNAL ** 2), ka.log1p(SIGNAL ** 2), -140),
            ("standardize", (SIGNAL - SIGNAL.mean()) / SIGNAL.std(), ka.standardize(SIGNAL), -110),
            ("lfilter", 2 - 1.5 * 0.5 ** np.arange(100.0), step, -130),
            ("filtfilt", SINE[20:-20] * np.cos(np.pi * 440 / 16000) ** 4,
             ka.filtfilt([0.25, 0.5, 0.25], [1], SINE)[20:-20], -120),
        ):
            with self.subTest(name):
                self.assertEqual(got.shape, expected.shape)
                self.assertLess(noise_db(expected, got), limit_db)
        np.testing.assert_array_equal(ka.mel_spectrogram(SIGNAL, fft_n=512, hop_n=128, mel_n=40),
                                      ka.convert_to_mel(power, bank))

    def test_shapes_and_types(self):
        bins, short = ka.spectrogram(SIGNAL), SIGNAL[:399]
        for got, shape, dtype in (
            (bins, (201, 101), np.complex64),
            (ka.spectrogram(SIGNAL, power=1), (201, 101), np.float32),
            (ka.spectrogram(SIGNAL, max_frame_n=7, center=ka.Center.NONE), (201, 7), np.complex64),
            (ka.spectrogram(short), (201, 0), np.complex64),
            (ka.mel_spectrogram(short, mel_n=np.int64(64)), (64, 0), np.float32),
            (ka.mel_spectrogram(SIGNAL, hop_n=0, max_frame_n=3), (80, 3), np.float32),
            (ka.inverse_spectrogram(bins[:, :1]), (0,), np.float32),
            (ka.inverse_spectrogram(bins, max_sample_n=20000), (20000,), np.float32),
            (ka.fix_frame_len(bins, 120), (201, 120), np.complex64),
            (ka.fix_frame_len(bins.real, 90, -1), (201, 90), np.float32),
            (ka.power_to_db(np.ones((2, 3, 4))), (2, 3, 4), np.float32),
            (ka.lfilter_zi([1], [1]), (0,), np.float32),
            (ka.sosfilt_zi(SECTIONS), (2, 2), np.float32),
            (ka.resample(SIGNAL, dst_sample_rate=16000, src_sample_rate=44100), (5805,), np.float32),
        ):
            with self.subTest(shape=shape):
                self.assertEqual((got.shape, got.dtype), (shape, dtype))
                self.assertTrue(got.flags.c_contiguous)
        self.assertEqual(ka.sample_len(101), 16000)
        silence = np.zeros(16000)
        self.assertEqual(ka.non_silent_pos(np.concatenate((silence, SINE, silence)), hop_n=500), (15000, 18500))

    def test_layouts_give_the_same_result(self):
        strided = np.stack((SIGNAL, SIGNAL), axis=1)[:, 0]
        unaligned = np.frombuffer(b"-" + SIGNAL.tobytes(), np.float32, offset=1)
        read_only = np.frombuffer(SIGNAL.tobytes(), np.float32)
        for same in (strided, unaligned, read_only, SIGNAL.astype(">f4"), SIGNAL.astype(float), SIGNAL.tolist()):
            np.testing.assert_array_equal(ka.mel_spectrogram(same), ka.mel_spectrogram(SIGNAL))
        self.assertIs(_checks.floats("src", read_only), read_only)
        self.assertTrue(_checks.floats("src", unaligned).flags.aligned)

    def test_batches_give_the_bits_of_single_calls(self):
        signals = np.stack([SIGNAL[i * 900 : i * 900 + 3000] * (i + 1) for i in range(6)]).reshape(2, 3, 3000)
        bins = ka.spectrogram(signals, hop_n=100)
        power, bank, zi = ka.complex_norm(bins, power=2), ka.mel_filter_bank(), ka.sosfilt_zi(SECTIONS)
        batch_zi = np.broadcast_to(zi, (2, 3, 2, 2))
        for name, source, axes, function in (
            ("fft", signals, 1, ka.fft),
            ("ifft", bins, 1, ka.ifft),
            ("spectrogram", signals, 1, ka.spectrogram),
            ("power spectrogram", signals, 1, lambda x, **more: ka.spectrogram(x, power=2, **more)),
            ("mel_spectrogram", signals, 1, ka.mel_spectrogram),
            ("inverse_spectrogram", bins, 2, lambda x, **more: ka.inverse_spectrogram(x, max_sample_n=4000, **more)),
            ("convert_to_mel", power, 2, lambda x, **more: ka.convert_to_mel(x, bank, **more)),
            ("fix_frame_len", bins, 2, lambda x, **more: ka.fix_frame_len(x, 40, **more)),
            ("power_to_db", power, 2, ka.power_to_db),
            ("power_to_db, ref", power, 2, lambda x, **more: ka.power_to_db(x, ref=3, **more)),
            ("standardize", signals, 1, ka.standardize),
            ("mag_phase", bins, 2, ka.mag_phase),
            ("lfilter", signals, 1, lambda x, **more: ka.lfilter([1, -0.97], [1, 0.1], x, **more)),
            ("filtfilt", signals, 1, lambda x, **more: ka.filtfilt([1, -0.97], [1, 0.1], x, **more)),
            ("sosfilt", signals, 1, lambda x, **more: ka.sosfilt(SECTIONS, x, **more)),
            ("sosfilt, zi", signals, 1, lambda x, **more: ka.sosfilt(
                SECTIONS, x, batch_zi if x.ndim == 3 else zi, **more)),
            ("sosfiltfilt", signals, 1, lambda x, **more: ka.sosfiltfilt(SECTIONS, x, **more)),
            ("resample", signals, 1, lambda x, **more: ka.resample(
                x, dst_sample_rate=160, src_sample_rate=441, **more)),
            ("non_silent_pos", signals, 1, lambda x, **more: ka.non_silent_pos(x, hop_n=99, **more)),
        ):
            with self.subTest(name):
                lead = np.ndindex(source.shape[: source.ndim - axes])
                single = {index: function(source[index]) for index in lead}
                for batch in (function(source), function(source, threads=3)):
                    for index, expected in single.items():
                        parts = zip(expected, batch) if isinstance(expected, tuple) else [(expected, batch)]
                        for one, all_of_them in parts:
                            np.testing.assert_array_equal(all_of_them[index], one)
                if name != "non_silent_pos" and not isinstance(batch, tuple):
                    out = np.full_like(batch, 7)
                    self.assertIs(function(source, out=out), out)
                    np.testing.assert_array_equal(out, batch)

    def test_empty_results_travel_on(self):
        for frames in (ka.mel_spectrogram(SIGNAL, max_frame_n=1)[:, :0], ka.mel_spectrogram(np.ones((0, 500)))):
            self.assertEqual(ka.power_to_db(frames).shape, frames.shape)
            self.assertEqual(ka.power_to_db(frames, ref=1).shape, frames.shape)
            self.assertEqual(ka.log1p(frames).shape, frames.shape)
        bins = ka.spectrogram(SIGNAL)[:, :0]
        self.assertEqual(ka.convert_to_mel(ka.complex_norm(bins), ka.mel_filter_bank()).shape, (80, 0))
        self.assertEqual(ka.mag_phase(bins)[0].shape, (201, 0))
        np.testing.assert_array_equal(ka.inverse_spectrogram(bins, max_sample_n=3), np.zeros(3))
        np.testing.assert_array_equal(ka.fix_frame_len(bins.real, 2, -1), np.full((201, 2), -1))

    def test_decibels_above_a_reference(self):
        power = np.float32([[1e-12, 1, 3], [100, np.nan, 1e-3]])
        for ref in (1, 0.02, 1e4):
            expected = np.maximum(10 * np.log10(np.fmax(power, 1e-10)), 20 - 80) - 10 * np.log10(ref)
            np.testing.assert_allclose(ka.power_to_db(power, ref=ref), expected, atol=1e-5)
            out_of_place, in_place = ka.power_to_db(power, ref=ref), power.copy()
            np.testing.assert_array_equal(ka.power_to_db(in_place, ref=ref, out=in_place), out_of_place)

    def test_what_out_may_be(self):
        rows = np.stack([SIGNAL[:100]] * 4)
        expected, between = ka.log1p(rows[::3].copy()), rows[1:3]  # between the rows of src, and over none of them
        self.assertIs(ka.log1p(rows[::3], out=between), between)
        np.testing.assert_array_equal(between, expected)
        masked = np.ma.masked_array(np.ones((2, 3), np.float32), mask=True)
        np.testing.assert_array_equal(ka.power_to_db(np.ones((2, 3)), ref=1, out=masked), np.zeros((2, 3)))
        matrix = np.matrix(np.zeros((5, 4000), np.float32))
        np.testing.assert_array_equal(ka.spectrogram(SIGNAL, fft_n=8, hop_n=4, power=1, max_frame_n=4000, out=matrix),
                                      ka.spectrogram(SIGNAL, fft_n=8, hop_n=4, power=1, max_frame_n=4000))

    def test_arrays_beyond_one_call(self):
        bins, values = SPECTRUM[:40], SIGNAL[:40]
        whole = ka.log1p(values), ka.complex_norm(bins, power=0.3)
        with unittest.mock.patch.object(_library, "BLOCK", 7):
            for expected, got in zip(whole, (ka.log1p(values), ka.complex_norm(bins, power=0.3))):
                np.testing.assert_array_equal(got, expected)

    def test_integer_samples_reach_both_ends(self):
        for convert, lowest, highest in ((ka.from_pcm8, 0, 255), (ka.from_pcm16, -2**15, 2**15 - 1),
                                         (ka.from_pcm24, -2**23, 2**23 - 1), (ka.from_pcm32, -2**31, 2**31 - 1)):
            low, high = convert([lowest, highest])
            self.assertEqual(low, -1)
            self.assertAlmostEqual(high, 1, delta=0.01)
            self.assertEqual(convert([(lowest + highest + 1) // 2])[0], 0)

    def test_carried_state(self):
        zi = ka.sosfilt_zi(SECTIONS) * SIGNAL[0]
        first, state = ka.sosfilt(SECTIONS, SIGNAL[:777], zi)
        second, state = ka.sosfilt(SECTIONS, SIGNAL[777:], state)
        whole, last = ka.sosfilt(SECTIONS, SIGNAL, zi)
        np.testing.assert_array_equal(np.concatenate((first, second)), whole)
        np.testing.assert_array_equal(state, last)
        for section in SECTIONS:  # a constant stays constant, and the caller's own state untouched
            settled = ka.lfilter_zi(section[:3], section[3:])
            kept = settled.copy()
            constant, _ = ka.lfilter(section[:3], section[3:], np.ones(9), settled)
            np.testing.assert_allclose(constant, sum(section[:3]) / sum(section[3:]), rtol=1e-6)
            np.testing.assert_array_equal(settled, kept)

    @unittest.skipUnless(Path("/sys/kernel/mm/transparent_hugepage").exists(), "the kernel has no huge pages")
    def test_new_arrays_ask_for_huge_pages(self):
        large = ka.log1p(np.ones(2**21))
        middle, asked = large.ctypes.data + large.nbytes // 2, None
        for line in Path("/proc/self/smaps").read_text().splitlines():
            if bounds := re.match(r"([0-9a-f]+)-([0-9a-f]+) ", line):
                inside = int(bounds[1], 16) <= middle < int(bounds[2], 16)
            elif inside and line.startswith("VmFlags:"):
                asked = "hg" in line.split()
        self.assertTrue(asked)

    def test_other_threads_run_during_a_call(self):
        slow = threading.Thread(target=ka.lfilter, args=(np.ones(400), [1.0], np.resize(SIGNAL, 1_000_000)))
        slow.start()
        ticks = 0
        while slow.is_alive():
            time.sleep(0.001)
            ticks += 1
        # With the interpreter's lock held there would be the few before the call.
        self.assertGreater(ticks, 10)


class Warnings(unittest.TestCase):
    def test_name_the_argument_at_the_caller(self):
        for text, call in (
            ("f_max: 9000 Hz lie above half", lambda: ka.mel_spectrogram(SIGNAL, f_max=9000, mel_n=20)),
            ("mel_n: 4 of 128 filters are empty", lambda: ka.recipes.torchaudio_mel(SIGNAL)),
            ("src: 399 samples are fewer than fft_n, 400", lambda: ka.spectrogram(SIGNAL[:399])),
            ("src: 5 samples are fewer than win_n, 2048", lambda: ka.non_silent_pos(SIGNAL[:5])),
        ):
            with self.subTest(text), warnings.catch_warnings(record=True) as caught:
                warnings.simplefilter("always")
                call()
                self.assertEqual([each.category for each in caught], [ka.KelvoAudioWarning])
                self.assertIn(text, str(caught[0].message))
                self.assertEqual(caught[0].filename, __file__)


class Processes(unittest.TestCase):
    def test_forked_children_go_on(self):
        """As data loaders fork: the parent has filled the caches and used threads."""
        expected = ka.mel_spectrogram(np.stack([SIGNAL] * 4), threads=2)
        with ProcessPoolExecutor(2, multiprocessing.get_context("fork")) as pool:
            for child in pool.map(functools.partial(ka.mel_spectrogram, threads=2), [np.stack([SIGNAL] * 4)] * 4):
                np.testing.assert_array_equal(child, expected)

    @unittest.skipUnless(importlib.util.find_spec("torch"), "python3-torch is missing")
    def test_tensors_and_data_loaders(self):
        import torch

        signals = torch.from_numpy(np.stack([SIGNAL * (i + 1) for i in range(8)]))
        expected = ka.mel_spectrogram(signals.numpy())
        np.testing.assert_array_equal(ka.mel_spectrogram(signals), expected)
        features = torch.empty(expected.shape)
        ka.mel_spectrogram(signals, out=features.numpy())
        np.testing.assert_array_equal(features, expected)
        with self.assertRaisesRegex(TypeError, r"\Asrc: .*requires grad"):
            ka.mel_spectrogram(signals.clone().requires_grad_())

        class Features(torch.utils.data.Dataset):
            def __len__(self):
                return len(signals)

            def __getitem__(self, item):
                return torch.from_numpy(ka.mel_spectrogram(signals[item], threads=2))

        loader = torch.utils.data.DataLoader(Features(), batch_size=2, num_workers=2, multiprocessing_context="fork")
        np.testing.assert_array_equal(torch.cat(list(loader)), expected)


class Errors(unittest.TestCase):
    def test_name_the_argument(self):
        bins, bank = ka.spectrogram(SIGNAL), ka.mel_filter_bank()
        for name, kind, call in (
            ("src", ValueError, lambda: ka.fft([])),
            ("src", TypeError, lambda: ka.mel_spectrogram(bins[:, 0])),
            ("src", TypeError, lambda: ka.log1p(["a"])),
            ("src", ValueError, lambda: ka.fft(np.float32(1))),
            ("src", TypeError, lambda: ka.inverse_spectrogram(bins.real)),
            ("src", ValueError, lambda: ka.inverse_spectrogram(bins[:1])),
            ("src", TypeError, lambda: ka.mel_spectrogram((SIGNAL * 9999).astype(np.int16))),
            ("src", TypeError, lambda: ka.resample(SIGNAL > 0, dst_sample_rate=1, src_sample_rate=2)),
            ("src", ValueError, lambda: ka.from_pcm16([40000])),
            ("src", TypeError, lambda: ka.from_pcm8(SIGNAL)),
            ("fft_n", TypeError, lambda: ka.spectrogram(SIGNAL, fft_n=400.0)),
            ("fft_n", ValueError, lambda: ka.spectrogram(SIGNAL, fft_n=2**28)),
            ("hop_n", ValueError, lambda: ka.spectrogram(SIGNAL, hop_n=-1)),
            ("hop_n", ValueError, lambda: ka.mel_spectrogram(SIGNAL, hop_n=0)),
            ("win_n", ValueError, lambda: ka.spectrogram(SIGNAL, win_n=401)),
            ("win_type", ValueError, lambda: ka.get_window(5, 3)),
            ("center", ValueError, lambda: ka.frame_len(5, center="reflect")),
            ("center", ValueError, lambda: ka.frame_len(5, center=ka.Window.HANN)),  # also a 1
            ("fft_n", TypeError, lambda: ka.spectrogram(SIGNAL, fft_n=True)),
            ("f_min", ValueError, lambda: ka.mel_spectrogram(SIGNAL, f_min=np.nan)),
            ("top_db", ValueError, lambda: ka.power_to_db(SIGNAL, top_db=np.inf)),
            ("thr_db", ValueError, lambda: ka.non_silent_pos(SIGNAL, thr_db=1e39)),  # infinite in single precision
            ("ref", ValueError, lambda: ka.power_to_db(SIGNAL, ref=0)),
            ("out", ValueError, lambda: ka.log1p(SIGNAL, out=np.empty(16000))),
            ("out", ValueError, lambda: ka.log1p(SIGNAL, out=np.empty((16000, 2), np.float32)[:, 0])),
            ("out", ValueError, lambda: ka.log1p(SIGNAL[:-1], out=SIGNAL[1:])),
            ("out", ValueError, lambda: ka.ifft(SPECTRUM, out=SPECTRUM)),
            # Arrays that are read besides src, and those of which a copy is read.
            ("out", ValueError, lambda: ka.lfilter(SIGNAL[:3], [1], np.ones(2), out=SIGNAL[:2])),
            ("out", ValueError, lambda: ka.lfilter([1], SIGNAL[1:4], np.ones(2), out=SIGNAL[:2])),
            ("out", ValueError, lambda: ka.lfilter([1, 1], [1], np.ones(2), SIGNAL[:1], out=SIGNAL[:2])),
            ("out", ValueError, lambda: ka.filtfilt(SIGNAL[:1], [1], np.ones(2), pad_len=0, out=SIGNAL[:2])),
            ("out", ValueError, lambda: ka.sosfilt(SIGNAL[:6].reshape(1, 6), np.ones(2), out=SIGNAL[:2])),
            ("out", ValueError, lambda: ka.sosfiltfilt(SIGNAL[:6].reshape(1, 6), np.ones(10), out=SIGNAL[:10])),
            ("out", ValueError, lambda: ka.convert_to_mel(np.ones((9, 4)), SIGNAL[:18].reshape(2, 9),
                                                          out=SIGNAL[:8].reshape(2, 4))),
            ("out", ValueError, lambda: ka.log1p(SIGNAL[:20:2], out=SIGNAL[:10])),
            ("out", ValueError, lambda: ka.fft(SIGNAL[:16].view("f8"), out=SIGNAL[:16].view("c8"))),
            ("out", ValueError, lambda: ka.mag_phase(SPECTRUM[:9].reshape(3, 3), phase_form=ka.Phase.ANGLE,
                                                     out=(SIGNAL[:9].reshape(3, 3), SIGNAL[8:17].reshape(3, 3)))),
            ("src", ValueError, lambda: ka.inverse_spectrogram(bins[:, :17], hop_n=2**27)),
            ("thr_db", ValueError, lambda: ka.non_silent_pos(SIGNAL, thr_db=np.ma.masked_array([], [], np.float32))),
            ("pad_value", TypeError, lambda: ka.fix_frame_len(bins, 200, "0")),
            ("pad_value", TypeError, lambda: ka.fix_frame_len(bins, 200, np.zeros(3))),
            ("threads", ValueError, lambda: ka.fft(SIGNAL, threads=0)),
            ("max_frame_n", ValueError, lambda: ka.spectrogram(SIGNAL, max_frame_n=0)),
            ("power", ValueError, lambda: ka.mel_spectrogram(SIGNAL, power=-1)),
            ("power", ValueError, lambda: ka.complex_norm(bins, power=1e-50)),  # 0 in single precision
            ("f_max", ValueError, lambda: ka.mel_filter_bank(f_min=1000, f_max=1000 + 1e-9)),
            ("mel_n", ValueError, lambda: ka.mel_spectrogram(SIGNAL, mel_n=201)),
            ("fb_matrix", ValueError, lambda: ka.convert_to_mel(bins.real[1:], bank)),
            ("frame_n", ValueError, lambda: ka.sample_len(2**30, hop_n=3)),
            ("dst_frame_n", ValueError, lambda: ka.fix_frame_len(bins[:1], 2**30)),
            ("pad_value", ValueError, lambda: ka.fix_frame_len(bins, 200, 1)),
            ("thr_db", TypeError, lambda: ka.non_silent_pos(SIGNAL, thr_db="60")),
            ("n_coef", ValueError, lambda: ka.lfilter([[1, 1]], [1, 1], SIGNAL)),
            ("zi", ValueError, lambda: ka.lfilter([1, 1], [1, 1], SIGNAL, [0, 0])),
            ("zi", ValueError, lambda: ka.sosfilt(SECTIONS, SIGNAL, np.zeros((1, 2)))),
            ("sos", ValueError, lambda: ka.sosfiltfilt(np.ones((2, 5)), SIGNAL)),
            ("pad_len", ValueError, lambda: ka.filtfilt([1, 1], [1], SIGNAL[:6])),
            ("src_sample_rate", ValueError, lambda: ka.resample(SIGNAL, dst_sample_rate=1, src_sample_rate=0)),
        ):
            with self.subTest(name), self.assertRaisesRegex(kind, rf"\A{name}: "):
                call()

    def test_any_arguments_give_a_result_or_a_name(self):
        """No refusal is left to the library, which could not name the argument."""
        draw = random.Random(7)
        arrays = [[], [1], [0.5], np.ones(5), np.ones((0, 3)), np.ones((1, 3)), SIGNAL[:60],
                  np.ones((1, 1)), np.ones((3, 6)), SIGNAL[:60].reshape(10, 6),
                  np.ones((3, 10)), SIGNAL[:60].reshape(6, 10) * 1j, [[1], [1, 2]], None]
        pools = {"src n_coef d_coef zi sos fb_matrix": arrays, "center win_type phase_form mel_norm": range(-1, 5),
                 "norm_type fft_norm_type mel_formula pad_type": range(-1, 5),
                 "out": [None, None, None, np.empty(5, np.float32), np.empty((3, 6), np.complex64), (1, 2)],
                 "power f_min f_max thr_db top_db pad_value ref": [-1, 0, 1e-50, 0.5, 2, 8000, 10**400, np.nan, np.inf]}
        pool_of = {name: pool for names, pool in pools.items() for name in names.split()}
        counts = [-1, 0, 1, 2, 3, 5, 8, 9, 16, 64, 2**31, 1.5]
        outcomes = {name: set() for name in FUNCTIONS}
        for trial in range(500 * len(FUNCTIONS)):
            name = list(FUNCTIONS)[trial % len(FUNCTIONS)]
            parameters = inspect.signature(FUNCTIONS[name]).parameters
            arguments = {each: draw.choice(pool_of.get(each, counts)) for each, parameter in parameters.items()
                         if parameter.default is inspect.Parameter.empty or draw.random() < 0.5}
            try:
                FUNCTIONS[name](**arguments)
                outcomes[name].add("result")
            except (ValueError, TypeError) as error:
                self.assertIn(str(error).split(":")[0], parameters, f"{name}({arguments}): {error}")
                outcomes[name].add("error")
        self.assertEqual(outcomes, {name: {"result", "error"} for name in FUNCTIONS})


class Samples(unittest.TestCase):
    def test_readmes(self):
        for page in ("README.md", "python/README.md"):
            names = {}
            for sample in re.findall(r"^```python\n(.*?)^```", (PROJECT / page).read_text(), re.M | re.S):
                exec(sample, names)
            self.assertEqual(names["log_mel"].shape, (80, 101))

    def test_log_mel(self):
        with tempfile.TemporaryDirectory() as folder:
            recording, features = f"{folder}/stereo.wav", f"{folder}/features.npy"
            with wave.open(recording, "wb") as file:
                file.setparams((2, 2, 8000, 0, "NONE", ""))
                file.writeframes((np.repeat(SINE, 2) * 10000).astype("<i2").tobytes())
            command = [sys.executable, PROJECT / "examples/python/log_mel.py", recording, features]
            done = subprocess.run(command, capture_output=True, text=True)
            self.assertEqual(done.stdout, "80 bands x 201 frames, -80.0 to 0.0 dB\n", done.stderr)
            self.assertEqual(np.load(features).shape, (80, 201))


if __name__ == "__main__":
    np.seterr(all="ignore")  # infinities among the arguments
    running.main(warnings="ignore")
