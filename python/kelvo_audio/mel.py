"""Mel filter banks and mel spectrograms, decibels, magnitudes and phases."""

import numpy as np
from numpy.typing import ArrayLike

from ._checks import (Complexes, Floats, complexes, fft_length, floats, integer, mel_band, mode, not_negative, number,
                      window_length)
from ._library import call, library
from .modes import Center, MelFormula, MelNorm, Norm, Phase, Window
from .short_time import frame_capacity


def mel_filter_bank(*, freq_n: int = 201, f_min: float = 0.0, f_max: float | None = None, mel_n: int = 80,
                    sample_rate: int = 16000, mel_norm: MelNorm = MelNorm.SLANEY,
                    mel_formula: MelFormula = MelFormula.SLANEY) -> Floats:
    """Triangular filters over the bins of a one-sided spectrum.

    freq_n   bins, more than mel_n; bin k lies at k * sample_rate / (2 * (freq_n - 1)) Hz
    f_max    Hz, by default half the sample rate
    returns  [mel_n, freq_n]
    """
    sample_rate = integer("sample_rate", sample_rate)
    freq_n = integer("freq_n", freq_n)
    mel_n = integer("mel_n", mel_n, 1, freq_n - 1)
    f_min, f_max = mel_band(f_min, f_max, sample_rate)
    dst = np.empty((mel_n, freq_n), np.float32)
    call(library.kelvoAudioGetFBMatrix, dst.ctypes.data, freq_n, f_min, f_max, mel_n, sample_rate,
         mode("mel_norm", mel_norm, MelNorm), mode("mel_formula", mel_formula, MelFormula))
    return dst


def mel_spectrogram(src: ArrayLike, *, sample_rate: int = 16000, fft_n: int = 400, hop_n: int = 160,
                    win_n: int | None = None, win_type: Window = Window.HANN, max_frame_n: int | None = None,
                    center: Center = Center.REFLECT, power: float = 2.0, fft_norm_type: Norm = Norm.NONE,
                    f_min: float = 0.0, f_max: float | None = None, mel_n: int = 80,
                    mel_norm: MelNorm = MelNorm.SLANEY, mel_formula: MelFormula = MelFormula.SLANEY) -> Floats:
    """Mel spectrogram of a signal: its spectrogram's |bin| ** power times the filter bank.

    src          [sample_n]; fewer than fft_n samples give no frame at all
    win_n        1 to fft_n, which is the default; the window lies in the middle of the frame
    max_frame_n  at most so many frames; without it all that frame_len tells
    power        2 gives energies, 1 magnitudes; with 0 every |bin| ** power is 1
    f_max        Hz, by default half the sample rate
    mel_n        1 to fft_n // 2
    returns      [mel_n, frames]
    """
    source = floats("src", src)
    sample_rate = integer("sample_rate", sample_rate)
    fft_n, hop_n = fft_length("fft_n", fft_n), integer("hop_n", hop_n, 0)
    center = mode("center", center, Center)
    mel_n = integer("mel_n", mel_n, 1, fft_n // 2)
    f_min, f_max = mel_band(f_min, f_max, sample_rate)
    frame_n = frame_capacity(source.size, fft_n, hop_n, center, max_frame_n)
    dst = np.empty((mel_n, frame_n), np.float32)
    # The library wants room for one frame at least, even where the signal is too short to fill it.
    call(library.kelvoAudioGetMelSpectrogram, dst.ctypes.data, source.ctypes.data, source.size, sample_rate, fft_n,
         hop_n, window_length(win_n, fft_n), mode("win_type", win_type, Window), max(frame_n, 1), center,
         not_negative("power", power), mode("fft_norm_type", fft_norm_type, Norm), f_min, f_max, mel_n,
         mode("mel_norm", mel_norm, MelNorm), mode("mel_formula", mel_formula, MelFormula))
    return dst


def convert_to_mel(src: ArrayLike, fb_matrix: ArrayLike) -> Floats:
    """Applies a filter bank to a real spectrogram: fb_matrix @ src, each sum in ascending order of bins.

    src        [freq_n, frame_n], for instance spectrogram(..., power=2)
    fb_matrix  [mel_n, freq_n], as mel_filter_bank gives it or any other, with mel_n < freq_n
    returns    [mel_n, frame_n]
    """
    source, bank = floats("src", src, 2), floats("fb_matrix", fb_matrix, 2)
    (freq_n, frame_n), mel_n = source.shape, bank.shape[0]
    if bank.shape[1] != freq_n or mel_n >= freq_n:
        raise ValueError(f"fb_matrix: expected shape (fewer than {freq_n}, {freq_n}), got {bank.shape}")
    dst = np.empty((mel_n, frame_n), np.float32)
    call(library.kelvoAudioConvertToMel, dst.ctypes.data, source.ctypes.data, bank.ctypes.data, freq_n, frame_n, mel_n)
    return dst


def power_to_db(src: ArrayLike, *, top_db: float = 80.0) -> Floats:
    """Power to decibels below the largest value of the whole array, values below 1e-10 counting as 1e-10.

    src      any shape
    top_db   values lower than -top_db are raised to it; a negative one sets no limit
    returns  the same shape, dB
    """
    source = floats("src", src, None)
    dst = np.empty_like(source)
    call(library.kelvoAudioConvertPowerToDB, dst.ctypes.data, source.ctypes.data, source.size,
         number("top_db", top_db))
    return dst


def complex_norm(src: ArrayLike, *, power: float = 1.0) -> Floats:
    """Magnitude of complex values raised to a power: (re ** 2 + im ** 2) ** (power / 2).

    src      any shape, complex
    power    above 0: 1 gives magnitudes, 2 squared magnitudes
    returns  the same shape
    """
    source = complexes("src", src, None)
    exponent = not_negative("power", power)
    if exponent == 0:
        raise ValueError(f"power: must be greater than 0, got {power}")
    dst = np.empty(source.shape, np.float32)
    call(library.kelvoAudioComplexNorm, dst.ctypes.data, source.ctypes.data, source.size, exponent)
    return dst


def mag_phase(src: ArrayLike, *, power: float = 1.0,
              phase_form: Phase = Phase.COMPLEX) -> tuple[Floats, Floats | Complexes]:
    """Splits a complex spectrogram into magnitude raised to a power and phase.

    src      [freq_n, frame_n] complex
    power    >= 0; with 0 every magnitude is 1
    returns  ([freq_n, frame_n] magnitudes, [freq_n, frame_n] phases): unit complex64 values with Phase.COMPLEX, angles
             in radians as float32 with Phase.ANGLE
    """
    source = complexes("src", src, 2)
    phase_form = mode("phase_form", phase_form, Phase)
    dst_mag = np.empty(source.shape, np.float32)
    dst_phase = np.empty(source.shape, np.complex64 if phase_form == Phase.COMPLEX else np.float32)
    call(library.kelvoAudioMagPhase, dst_mag.ctypes.data, dst_phase.ctypes.data, source.ctypes.data, *source.shape,
         not_negative("power", power), phase_form)
    return dst_mag, dst_phase
