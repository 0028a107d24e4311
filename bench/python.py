#!/usr/bin/env python3
"""The Python package beside what else one would call from Python: torchaudio and SciPy, one thread each, in one run.

Usage: bench/python.py [--markdown]    with the package in PYTHONPATH and KELVO_AUDIO_LIBRARY set, as bench/python.sh does
"""
import os

for name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS"):
    os.environ[name] = "1"

import functools
import statistics
import sys
import tempfile
import timeit

import numpy as np
import scipy.signal
import soundfile
import torch
import torchaudio

import kelvo_audio as ka
from kelvo_audio.corpus import work

ROUNDS, SECONDS = 15, 0.02
torch.set_num_threads(1)


def interleaved(contestants):
    """Median seconds of a call for each, in turns, so that all of them meet the same neighbours on the machine."""
    timers = [timeit.Timer(call) for call in contestants]
    numbers = [max(1, round(SECONDS / (timer.timeit(3) / 3))) for timer in timers]
    times = [[timer.timeit(number) / number for timer, number in zip(timers, numbers)] for _ in range(ROUNDS)]
    return [statistics.median(column) for column in zip(*times)]


def noise_db(expected, got):
    expected, got = np.asarray(expected), np.asarray(got)
    n = min(expected.shape[-1], got.shape[-1])
    return 20 * np.log10(np.linalg.norm(expected[..., :n] - got[..., :n]) / np.linalg.norm(expected[..., :n]))


def rows():
    """(job, ours, {peer: call}, largest difference in dB that still counts as the same job)"""
    generator = np.random.default_rng(1)
    for seconds in (1, 10, 60):
        x = generator.standard_normal(16000 * seconds).astype(np.float32) * 0.1
        tensor = torch.from_numpy(x)
        if seconds < 60:
            for fft_n, hop_n, mel_n in ((400, 160, 80), (1024, 256, 80)):
                mel = torchaudio.transforms.MelSpectrogram(16000, fft_n, hop_length=hop_n, n_mels=mel_n, norm="slaney",
                                                           mel_scale="slaney")
                settings = {"fft_n": fft_n, "hop_n": hop_n, "mel_n": mel_n}
                yield (f"mel spectrogram {fft_n}/{hop_n}/{mel_n}, {seconds} s",
                       functools.partial(ka.mel_spectrogram, x, **settings),
                       {"torchaudio": lambda: mel(tensor)}, -60)
        window = torch.hann_window(400)
        yield (f"STFT 400/160, {seconds} s", functools.partial(ka.spectrogram, x),
               {"torch": lambda: torch.stft(tensor, 400, 160, window=window, return_complex=True)}, -100)
    for src, dst in ((44100, 16000), (48000, 16000), (16000, 8000), (16000, 48000)):
        x = np.sin(np.arange(src * 10) * 0.05).astype(np.float32)
        tensor = torch.from_numpy(x)
        up, down = dst // np.gcd(src, dst), src // np.gcd(src, dst)
        resampling = torchaudio.transforms.Resample(src, dst)
        yield (f"resampling {src / 1000:g} to {dst / 1000:g} kHz, 10 s",
               functools.partial(ka.resample, x, dst_sample_rate=dst, src_sample_rate=src),
               {"torchaudio": lambda: resampling(tensor),
                "SciPy": lambda: scipy.signal.resample_poly(x, up, down)}, -20)
    for shape in ((80, 101), (80, 1001), (201, 1001), (128, 6001)):
        power = generator.random(shape).astype(np.float32) ** 4
        tensor = torch.from_numpy(power)[None]
        decibels = torchaudio.transforms.AmplitudeToDB(top_db=80)
        # Both copies are out of place, and torchaudio's counts from 1.
        yield (f"decibels {shape[0]} x {shape[1]}", functools.partial(ka.power_to_db, power, ref=1.0),
               {"torchaudio": lambda: decibels(tensor)[0]}, -100)


def memory_row():
    """A frame into fresh memory and into reused, 300 s."""
    x = np.zeros(16000 * 300, np.float32)
    out = np.empty((201, 30001), np.complex64)
    return interleaved([lambda: ka.spectrogram(x), lambda: ka.spectrogram(x, out=out)])


def corpus_row():
    """Recordings an hour on one core, the time of torchaudio over ours, and the share of ours that reading takes: FLAC of
    10 s at 44.1 kHz in stereo, to files of log-mel features at 16 kHz."""
    resampling = torchaudio.transforms.Resample(44100, 16000)
    mel = torchaudio.transforms.MelSpectrogram(16000, 400, hop_length=160, n_mels=80, norm="slaney", mel_scale="slaney")

    def by_torchaudio(task):
        signal, _ = soundfile.read(task.source(), dtype="float32", always_2d=True)
        power = mel(resampling(torch.from_numpy(signal.mean(axis=1))))[:, :-1]
        log = torch.clamp(power, min=1e-10).log10()
        np.save(task.target(), ((torch.maximum(log, log.max() - 8) + 4) / 4).numpy())

    with tempfile.TemporaryDirectory() as folder:
        noise = 0.1 * np.random.default_rng(3).standard_normal((441000, 2))
        tasks = [work.Task(f"{i}.flac", folder, folder, False, work.Settings("whisper")) for i in range(8)]
        for task in tasks:
            soundfile.write(task.source(), noise, 44100)
        ours, theirs = interleaved([lambda: [work.run(task) for task in tasks],
                                    lambda: [by_torchaudio(task) for task in tasks]])
        rows = [work.run(task) for task in tasks]
    reading, computing = (sum(row[name] for row in rows) for name in ("read_s", "compute_s"))
    return len(tasks) * 3600 / ours, theirs / ours, reading / (reading + computing)


def main():
    pattern = "| {:38} | {:>9} | {:32} |" if "--markdown" in sys.argv else "{:40} {:>9}  {}"
    print(pattern.format("job", "ours, ms", "times as fast as"))
    if "--markdown" in sys.argv:
        print("|---|---|---|")
    for job, ours, peers, limit in rows():
        for name, peer in peers.items():
            difference = noise_db(peer(), ours())
            if difference > limit:
                sys.exit(f"{job}: {name} differs by {difference:.0f} dB")
        own, *others = interleaved([ours, *peers.values()])
        print(pattern.format(job, f"{own * 1e3:.3f}",
                             ", ".join(f"{name} {other / own:.1f}" for name, other in zip(peers, others))), flush=True)
    fresh, reused = memory_row()
    print(pattern.format("STFT 400/160, 300 s, reused memory", f"{reused * 1e3:.3f}",
                         f"fresh memory {fresh / reused:.1f}"))
    an_hour, ratio, reading = corpus_row()
    print(pattern.format("corpus: FLAC of 10 s, one recording", f"{3.6e6 / an_hour:.3f}", f"torchaudio {ratio:.1f}"))
    print(f"\n{an_hour:.0f} recordings an hour on one core; reading takes {100 * reading:.0f} % of the time")


if __name__ == "__main__":
    main()
