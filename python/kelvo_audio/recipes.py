"""Features of well-known front ends, compared with them in docs/recipes.md.

Each function takes signals [..., sample_n] in -1 .. 1 at the rate of its front end, and those settings of
mel_spectrogram that are to differ. log_mel and RECIPES find them by name; MFCC features need SciPy.
"""

import functools
import inspect
from collections.abc import Callable
from typing import NamedTuple

import numpy as np
from numpy.typing import ArrayLike

from . import (Center, MelFormula, MelNorm, Norm, Phase, inverse_spectrogram, mag_phase, mel_spectrogram,
               non_silent_pos, power_to_db, spectrogram)
from ._checks import Complexes, Floats, flag, floats, integer, not_negative, samples


def _of(function):
    """A recipe whose errors name its own first parameter where the functions it calls say src."""
    first = next(iter(inspect.signature(function).parameters))

    @functools.wraps(function)
    def named(*given, **settings):
        try:
            return function(*given, **settings)
        except (ValueError, TypeError) as error:
            if not str(error).startswith("src: "):
                raise
            raise (TypeError if isinstance(error, TypeError) else ValueError)(first + str(error)[3:]) from None

    return named


@_of
def whisper_log_mel(x: ArrayLike, mel_n: int = 80, **changed) -> Floats:
    """16 kHz: frames of 400 samples every 160, the last one dropped; log10, at most 8 below the peak.

    The model's front end brings x to 30 seconds before.
    """
    signal = samples("x", x)
    mel = mel_spectrogram(signal, mel_n=mel_n, **{"max_frame_n": max(signal.shape[-1] // 160, 1), **changed})
    return (power_to_db(mel, top_db=80, ref=1.0) / 10 + 4) / 4


@_of
def torchaudio_mel(x: ArrayLike, sample_rate: int = 16000, fft_n: int = 400, mel_n: int = 128,
                   normalized: bool = False, **changed) -> Floats:
    """HTK scale, filters of height 1, a hop of half a frame."""
    fft_n = integer("fft_n", fft_n, 2)
    return mel_spectrogram(x, **{"sample_rate": sample_rate, "fft_n": fft_n, "hop_n": fft_n // 2, "mel_n": mel_n,
                                 "mel_norm": MelNorm.NONE, "mel_formula": MelFormula.HTK,
                                 "fft_norm_type": Norm.WINDOW_L2 if flag("normalized", normalized) else Norm.NONE,
                                 **changed})


@_of
def torchaudio_mfcc(x: ArrayLike, mfcc_n: int = 40, **changed) -> Floats:
    """16 kHz: decibels above 1, at most 80 below the peak, of 128 bands; the first mfcc_n coefficients of their DCT."""
    return _dct(power_to_db(torchaudio_mel(x, **changed), ref=1.0, top_db=80), mfcc_n)


@_of
def librosa_mel(x: ArrayLike, sample_rate: int = 22050, **changed) -> Floats:
    """Zeros beyond the ends, which make a frame more than librosa has unless the hop divides the length."""
    signal = samples("x", x)
    hop_n = integer("hop_n", changed.get("hop_n", 512))
    return mel_spectrogram(signal, **{"sample_rate": sample_rate, "fft_n": 2048, "hop_n": hop_n, "mel_n": 128,
                                      "center": Center.ZERO, "max_frame_n": 1 + signal.shape[-1] // hop_n, **changed})


@_of
def librosa_mel_db(x: ArrayLike, **changed) -> Floats:
    """Decibels below the peak."""
    return power_to_db(librosa_mel(x, **changed), top_db=80)


@_of
def librosa_mfcc(x: ArrayLike, mfcc_n: int = 20, **changed) -> Floats:
    """22.05 kHz: decibels above 1, at most 80 below the peak; the first mfcc_n coefficients of their DCT."""
    return _dct(power_to_db(librosa_mel(x, **changed), ref=1.0, top_db=80), mfcc_n)


@_of
def hifigan_mel(x: ArrayLike, **changed) -> Floats:
    """22.05 kHz: magnitudes; the signal brings its own reflected ends of (1024 - 256) / 2 samples.

    The original adds 1e-9 under the root; that vanishes below the 1e-5 at which it cuts.
    """
    signal = samples("x", x)
    padded = np.pad(signal, [(0, 0)] * (signal.ndim - 1) + [(384, 384)], "reflect")
    mel = mel_spectrogram(padded, **{"sample_rate": 22050, "fft_n": 1024, "hop_n": 256, "mel_n": 80, "f_max": 8000,
                                     "center": Center.NONE, "power": 1, **changed})
    return np.log(np.maximum(mel, np.float32(1e-5)))


@_of
def panns_log_mel(x: ArrayLike, **changed) -> Floats:
    """32 kHz: decibels above 1 rather than below the peak."""
    mel = mel_spectrogram(x, **{"sample_rate": 32000, "fft_n": 1024, "hop_n": 320, "mel_n": 64, "f_min": 50,
                                "f_max": 14000, **changed})
    return power_to_db(mel, top_db=-1, ref=1.0)


class Recipe(NamedTuple):
    compute: Callable[..., Floats]
    sample_rate: int


RECIPES = {
    "whisper": Recipe(whisper_log_mel, 16000),
    "torchaudio": Recipe(torchaudio_mel, 16000),
    "torchaudio-mfcc": Recipe(torchaudio_mfcc, 16000),
    "librosa": Recipe(librosa_mel_db, 22050),
    "librosa-mfcc": Recipe(librosa_mfcc, 22050),
    "hifigan": Recipe(hifigan_mel, 22050),
    "panns": Recipe(panns_log_mel, 32000),
}


def find(recipe: str) -> Recipe:
    if not isinstance(recipe, str) or recipe not in RECIPES:
        raise ValueError(f"recipe: must be {', '.join(RECIPES)}, got {recipe!r}")
    return RECIPES[recipe]


def log_mel(x: ArrayLike, recipe: str = "whisper", **changed) -> Floats:
    """Features by the name of a recipe, of signals at the recipe's own rate.

    x        [..., sample_n]
    recipe   a key of RECIPES
    changed  settings of the recipe that are to differ
    returns  [..., rows, frames]
    """
    return find(recipe).compute(x, **changed)


def _dct(db: Floats, coefficient_n: int) -> Floats:
    from scipy.fft import dct  # an optional dependency

    coefficient_n = integer("mfcc_n", coefficient_n, 1, db.shape[-2])
    return np.ascontiguousarray(dct(db, type=2, axis=-2, norm="ortho")[..., :coefficient_n, :])


@_of
def griffin_lim(magnitude: ArrayLike, *, hop_n: int, iteration_n: int = 32, momentum: float = 0.99,
                max_sample_n: int | None = None, **settings) -> Floats:
    """Signals of magnitude spectrograms, by turns through the signal and back, starting from phases of zero
    [Griffin and Lim 1984, Perraudin 2013].

    magnitude     [..., freq_n, frame_n], for instance spectrogram(x, hop_n=hop_n, power=1)
    momentum      how far each turn goes on in the direction of the last one; 0 is the original method
    max_sample_n  length of the result, by default (frame_n - 1) * hop_n
    settings      win_n, win_type, threads as for spectrogram
    returns       [..., max_sample_n]
    """
    target = floats("magnitude", magnitude, 2)
    freq_n, frame_n = target.shape[-2:]
    if freq_n < 2:
        raise ValueError(f"magnitude: must have 2 rows at least, got shape {target.shape}")
    momentum = not_negative("momentum", momentum)
    step = np.float32(momentum / (1 + momentum))
    phases, last = np.ones(target.shape, np.complex64), np.float32(0)
    fft_n, whole_n = 2 * freq_n - 2, (frame_n - 1) * integer("hop_n", hop_n)
    # Turns take samples enough for all frames, also where the result has fewer.
    turn_n = max(fft_n, whole_n, whole_n if max_sample_n is None else integer("max_sample_n", max_sample_n))
    for _ in range(integer("iteration_n", iteration_n, 0)):
        signal = inverse_spectrogram(target * phases, hop_n=hop_n, max_sample_n=turn_n, **settings)
        rebuilt = spectrogram(signal, fft_n=fft_n, hop_n=hop_n, **settings)[..., :frame_n]
        phases = mag_phase(rebuilt - step * last, phase_form=Phase.COMPLEX)[1]
        last = rebuilt
    return inverse_spectrogram(target * phases, hop_n=hop_n, max_sample_n=max_sample_n, **settings)


@_of
def scipy_stft(x: ArrayLike, fft_n: int, hop_n: int) -> Complexes:
    """scipy.signal.stft(x, nperseg=fft_n, noverlap=fft_n - hop_n): a sine of amplitude 1 peaks at 1/2."""
    return spectrogram(x, fft_n=fft_n, hop_n=integer("hop_n", hop_n), center=Center.ZERO, norm_type=Norm.TWO_OVER_N)


@_of
def scipy_istft(bins: ArrayLike, hop_n: int) -> Floats:
    return inverse_spectrogram(bins, hop_n=hop_n, center=Center.ZERO, norm_type=Norm.TWO_OVER_N)


@_of
def trim(x: ArrayLike, top_db: float = 50) -> tuple[int, int]:
    """First sample and end of what librosa.effects.trim keeps; (-1, -1) where nothing is left."""
    start, length = non_silent_pos(x, win_n=2048, hop_n=512, thr_db=not_negative("top_db", top_db))
    return start, start + length
