#!/usr/bin/env python3
"""Makes golden.npz, the results of other packages for the calls in docs/recipes.md, and filters.npz, the coefficients
of the filters that docs/filters.md lists.

Usage: make.py    where Debian's python3-torchaudio and python3-scipy are installed

Everything is computed in double precision and stored in single. whisper, librosa and the two model repositories are no
Debian packages: theirs are written here as formulas over torch and NumPy.
"""
from pathlib import Path

import numpy as np
import scipy
import scipy.fft
import scipy.signal
import torch
import torchaudio

from signals import phrase, sweep

x = sweep().astype(float)


def slaney_bank(sample_rate, fft_n, mel_n, f_min, f_max):
    """librosa.filters.mel with its defaults: [mel_n, fft_n // 2 + 1]."""
    def mel(f):
        return np.where(f < 1000, f * 3 / 200, 15 + 27 * np.log(np.maximum(f, 1000) / 1000) / np.log(6.4))

    def hertz(m):
        return np.where(m < 15, m * 200 / 3, 1000 * np.exp((m - 15) * np.log(6.4) / 27))

    edges = hertz(np.linspace(mel(f_min), mel(f_max), mel_n + 2))
    bins = np.arange(fft_n // 2 + 1) * sample_rate / fft_n
    rising = (bins - edges[:-2, None]) / np.diff(edges)[:-1, None]
    falling = (edges[2:, None] - bins) / np.diff(edges)[1:, None]
    bank = np.maximum(0, np.minimum(rising, falling)) * (2 / (edges[2:] - edges[:-2]))[:, None]
    peer = torchaudio.functional.melscale_fbanks(fft_n // 2 + 1, f_min, f_max, mel_n, sample_rate, "slaney", "slaney")
    np.testing.assert_allclose(bank, peer.numpy().T, atol=1e-5 * bank.max())
    return bank


def stft(signal, fft_n, hop_n, center, pad_mode="reflect"):
    window = torch.hann_window(fft_n, dtype=torch.double)
    return torch.stft(torch.from_numpy(signal), fft_n, hop_n, window=window, center=center, pad_mode=pad_mode,
                      return_complex=True).numpy()


def whisper_log_mel(mel_n):
    magnitudes = np.abs(stft(x, 400, 160, True)[:, :-1]) ** 2
    log_spec = np.log10(np.maximum(slaney_bank(16000, 400, mel_n, 0, 8000) @ magnitudes, 1e-10))
    return (np.maximum(log_spec, log_spec.max() - 8) + 4) / 4


def torchaudio_mel(normalized):
    transform = torchaudio.transforms.MelSpectrogram(sample_rate=16000, normalized=normalized).double()
    return transform(torch.from_numpy(x)).numpy()


def librosa_mel():
    return slaney_bank(22050, 2048, 128, 0, 11025) @ np.abs(stft(x, 2048, 512, True, "constant")) ** 2


def decibels(power, top_db=None, ref=1.0):
    db = 10 * np.log10(np.maximum(power, 1e-10)) - 10 * np.log10(ref)
    return db if top_db is None else np.maximum(db, db.max() - top_db)


def hifigan_mel():
    bins = stft(np.pad(x, 384, "reflect"), 1024, 256, False)
    return np.log(np.maximum(slaney_bank(22050, 1024, 80, 0, 8000) @ np.sqrt(np.abs(bins) ** 2 + 1e-9), 1e-5))


def panns_log_mel():
    return decibels(slaney_bank(32000, 1024, 64, 50, 14000) @ np.abs(stft(x, 1024, 320, True)) ** 2)


def torchaudio_mfcc():
    return torchaudio.transforms.MFCC(sample_rate=16000).double()(torch.from_numpy(x)).numpy()


def librosa_mfcc():
    return scipy.fft.dct(decibels(librosa_mel(), 80), axis=0, type=2, norm="ortho")[:20]


def griffin_lim(momentum):
    """torchaudio.transforms.GriffinLim of the magnitudes that the recipe is given, without its random phases."""
    magnitudes = torch.from_numpy(np.abs(stft(x, 400, 100, True)))
    return torchaudio.functional.griffinlim(magnitudes, torch.hann_window(400, dtype=torch.double), 400, 100, 400, 1.0,
                                            8, momentum, None, False).numpy()


def trim(signal, pad_mode):
    """librosa.effects.trim(top_db=50): zeros beyond the ends since 0.10, reflection before."""
    frames = np.lib.stride_tricks.sliding_window_view(np.pad(signal.astype(float), 1024, pad_mode), 2048)[::512]
    power = np.mean(frames**2, axis=1)
    (loud,) = np.nonzero(decibels(power, ref=power.max()) > -50)
    return np.array([loud[0] * 512, min(len(signal), (loud[-1] + 1) * 512)])


golden = {
    "whisper_log_mel(x)": whisper_log_mel(80),
    "whisper_log_mel(x, mel_n=128)": whisper_log_mel(128),
    "torchaudio_mel(x)": torchaudio_mel(False),
    "torchaudio_mel(x, normalized=True)": torchaudio_mel(True),
    "librosa_mel(x)": librosa_mel(),
    "librosa_mel_db(x)": decibels(librosa_mel(), 80, librosa_mel().max()),
    "hifigan_mel(x)": hifigan_mel(),
    "panns_log_mel(x)": panns_log_mel(),
    "torchaudio_mfcc(x)": torchaudio_mfcc(),
    "librosa_mfcc(x)": librosa_mfcc(),
    "griffin_lim(magnitudes, hop_n=100, iteration_n=8, momentum=0)": griffin_lim(0.0),
    "griffin_lim(magnitudes, hop_n=100, iteration_n=8)": griffin_lim(0.99),
}

_, _, bins = scipy.signal.stft(x[:700], nperseg=256, noverlap=256 - 80)
golden["scipy_stft(x[:700], 256, 80)"] = bins
golden["scipy_istft(scipy_stft(x[:700], 256, 80), 80)"] = scipy.signal.istft(bins, nperseg=256, noverlap=256 - 80)[1]

b, a = scipy.signal.butter(2, 0.2)
golden["b"], golden["a"] = b, a
golden["ka.lfilter(b, a, x[:300])"] = scipy.signal.lfilter(b, a, x[:300])
golden["ka.lfilter_zi(b, a)"] = scipy.signal.lfilter_zi(b, a)
for pad_type in ("odd", "even", "constant"):
    filtered = scipy.signal.filtfilt(b, a, x[:300], padtype=pad_type)
    golden[f"ka.filtfilt(b, a, x[:300], pad_type=ka.Pad.{pad_type.upper()})"] = filtered
golden["ka.filtfilt(b, a, x[:300], pad_type=ka.Pad.NONE)"] = scipy.signal.filtfilt(b, a, x[:300], padtype=None)

for name, sections in {"high_pass": scipy.signal.butter(4, 80, "highpass", fs=16000, output="sos"),
                       "low_pass": scipy.signal.butter(8, 500, fs=48000, output="sos")}.items():
    golden[name] = sections
    golden[f"ka.sosfilt({name}, x[:800])"] = scipy.signal.sosfilt(sections, x[:800])
    golden[f"ka.sosfilt_zi({name})"] = scipy.signal.sosfilt_zi(sections)
    golden[f"ka.sosfiltfilt({name}, x[:800])"] = scipy.signal.sosfiltfilt(sections, x[:800])

for lead, tail in ((5000, 7000), (0, 4000), (3333, 0)):
    both = [trim(phrase(lead, tail), pad_mode) for pad_mode in ("constant", "reflect")]
    np.testing.assert_array_equal(*both)
    golden[f"trim(phrase({lead}, {tail}))"] = both[0]

# The formula for the length that tests/python/recipes_test.py uses.
for up, down, sample_n in ((1, 2, 1001), (3, 1, 77), (160, 441, 441), (160, 441, 5000), (320, 147, 147)):
    assert scipy.signal.resample_poly(x[:sample_n], up, down).size == -(-min(sample_n, x.size) * up // down)

filters = {}
for design in ('2, 80, "highpass", fs=16000', '4, 80, "highpass", fs=16000', '4, 80, "highpass", fs=48000',
               '4, 500, fs=48000', '8, 500, fs=16000', '8, 500, fs=48000', '4, [300, 3400], "bandpass", fs=16000',
               '4, 1600, fs=16000'):
    for output in ("ba", "sos"):
        filters[f"{output} butter({design})"] = np.array(eval(f"scipy.signal.butter({design}, output=output)"))


def save(name, arrays):
    path = Path(__file__).with_name(name)
    np.savez_compressed(path, **arrays)
    print(f"{name}: {len(arrays)} arrays, {path.stat().st_size} bytes")


def stored(name, values):
    if name in ("b", "a", "high_pass", "low_pass") or values.dtype.kind == "i":
        return values
    return values.astype(np.complex64 if np.iscomplexobj(values) else np.float32)


save("golden.npz", {name: stored(name, values) for name, values in golden.items()})
save("filters.npz", filters)
print(f"scipy {scipy.__version__}, torch {torch.__version__}, torchaudio {torchaudio.__version__}, numpy {np.__version__}")
