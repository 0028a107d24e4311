"""Mel filter banks and mel spectrograms, decibels, magnitudes and phases."""

import functools

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._checks import (Complexes, Floats, complexes, fft_length, floats, integer, matrix, mel_band, mode,
                      not_negative, number, positive, result, samples, warn, window_length)
from ._library import call, call_each, elementwise, item_count, items, library
from .modes import Center, MelFormula, MelNorm, Norm, Phase, Window
from .short_time import frame_capacity


@functools.lru_cache(maxsize=256)
def _empty_filter_n(freq_n: int, f_min: float, f_max: float, mel_n: int, *settings: int) -> int:
    bank = np.empty((mel_n, freq_n), np.float32)
    call(library.kelvoAudioGetFBMatrix, bank.ctypes.data, freq_n, f_min, f_max, mel_n, *settings)
    return mel_n - int(np.count_nonzero(bank.any(axis=1)))


def _warn_of_empty_filters(*settings) -> None:
    empty_n = _empty_filter_n(*settings)
    if empty_n:
        warn(f"mel_n: {empty_n} of {settings[3]} filters are empty, since no bin lies under them; fewer filters, a "
             "larger fft_n or a lower f_max would help")


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
    settings = (freq_n, f_min, f_max, mel_n, sample_rate, mode("mel_norm", mel_norm, MelNorm),
                mode("mel_formula", mel_formula, MelFormula))
    _warn_of_empty_filters(*settings)
    dst = np.empty((mel_n, freq_n), np.float32)
    call(library.kelvoAudioGetFBMatrix, dst.ctypes.data, *settings)
    return dst


def mel_spectrogram(src: ArrayLike, *, sample_rate: int = 16000, fft_n: int = 400, hop_n: int = 160,
                    win_n: int | None = None, win_type: Window = Window.HANN, max_frame_n: int | None = None,
                    center: Center = Center.REFLECT, power: float = 2.0, fft_norm_type: Norm = Norm.NONE,
                    f_min: float = 0.0, f_max: float | None = None, mel_n: int = 80,
                    mel_norm: MelNorm = MelNorm.SLANEY, mel_formula: MelFormula = MelFormula.SLANEY,
                    threads: int = 1, out: Floats | None = None) -> Floats:
    """Mel spectrograms of signals: the spectrogram's |bin| ** power times the filter bank.

    src          [..., sample_n]; fewer than fft_n samples give no frame at all
    win_n        1 to fft_n, which is the default; the window lies in the middle of the frame
    max_frame_n  at most so many frames; without it all that frame_len tells
    power        2 gives energies, 1 magnitudes; with 0 every |bin| ** power is 1
    f_max        Hz, by default half the sample rate
    mel_n        1 to fft_n // 2
    returns      [..., mel_n, frames]
    """
    source = samples("src", src)
    *lead, sample_n = source.shape
    sample_rate = integer("sample_rate", sample_rate)
    fft_n, hop_n = fft_length("fft_n", fft_n), integer("hop_n", hop_n, 0)
    center = mode("center", center, Center)
    mel_n = integer("mel_n", mel_n, 1, fft_n // 2)
    f_min, f_max = mel_band(f_min, f_max, sample_rate)
    formula = mode("mel_norm", mel_norm, MelNorm), mode("mel_formula", mel_formula, MelFormula)
    frame_n = frame_capacity(sample_n, fft_n, hop_n, center, max_frame_n)
    # The library wants room for one frame at least, even where the signal is too short to fill it.
    settings = (sample_n, sample_rate, fft_n, hop_n, window_length(win_n, fft_n), mode("win_type", win_type, Window),
                max(frame_n, 1), center, not_negative("power", power), mode("fft_norm_type", fft_norm_type, Norm),
                f_min, f_max, mel_n, *formula)
    _warn_of_empty_filters(fft_n // 2 + 1, f_min, f_max, mel_n, sample_rate, *formula)
    dst = result(out, (*lead, mel_n, frame_n), np.float32, src)
    call_each(library.kelvoAudioGetMelSpectrogram, item_count(source, 1), integer("threads", threads), items(dst, 2),
              items(source, 1), *settings)
    return dst


def convert_to_mel(src: ArrayLike, fb_matrix: ArrayLike, *, threads: int = 1, out: Floats | None = None) -> Floats:
    """Applies a filter bank to real spectrograms: fb_matrix @ src, each sum in ascending order of bins.

    src        [..., freq_n, frame_n], for instance spectrogram(..., power=2)
    fb_matrix  [mel_n, freq_n], as mel_filter_bank gives it or any other, with mel_n < freq_n
    returns    [..., mel_n, frame_n]
    """
    source, bank = floats("src", src, 2, empty=True), matrix("fb_matrix", fb_matrix)
    (*lead, freq_n, frame_n), mel_n = source.shape, bank.shape[0]
    if bank.shape[1] != freq_n or mel_n >= freq_n:
        raise ValueError(f"fb_matrix: expected shape (fewer than {freq_n}, {freq_n}), got {bank.shape}")
    dst = result(out, (*lead, mel_n, frame_n), np.float32, src, fb_matrix)
    if dst.size:
        call_each(library.kelvoAudioConvertToMel, item_count(source, 2), integer("threads", threads), items(dst, 2),
                  items(source, 2), bank.ctypes.data, freq_n, frame_n, mel_n)
    return dst


def _decibels_above(reference: float, power: float) -> np.float32:
    """10 log10(power / reference) by the library's own steps, so that no C library decides a bit of it."""
    pair = np.array((reference, power), np.float32)
    address = pair.ctypes.data
    call(library.kelvoAudioConvertPowerToDB, address, address, 2, -1.0)
    return pair[1] - pair[0]


def power_to_db(src: ArrayLike, *, top_db: float = 80.0, ref: float | None = None, axes: int = 2, threads: int = 1,
                out: Floats | None = None) -> Floats:
    """Power to decibels, values below 1e-10 counting as 1e-10.

    src      [..., rows, frames], or [n]
    top_db   values lower than the largest by more than that are raised; a negative one sets no limit
    ref      the power that gives 0 dB; without it the largest value, so that the result ends at 0
    axes     the last so many axes have one largest value: 2 for each spectrogram by itself
    out      takes the result; may be src
    returns  the same shape, dB
    """
    source = floats("src", src, 0, empty=True)
    top_db, axes = number("top_db", top_db), min(integer("axes", axes, 1, 32), source.ndim)
    reference = None if ref is None else positive("ref", ref)
    item_n = item_count(source, axes)
    if reference is not None and source.size:
        peaks = np.fmax.reduce(source.reshape(item_n, -1), axis=1)
    dst = result(out, source.shape, np.float32, src, in_place=True)
    if source.size == 0:
        return dst
    call_each(library.kelvoAudioConvertPowerToDB, item_n, integer("threads", threads), items(dst, axes),
              items(source, axes), source.size // item_n, top_db)
    if reference is not None:
        for item, peak in zip(dst.reshape(item_n, -1), peaks):
            item += _decibels_above(reference, peak)
    return dst


def complex_norm(src: ArrayLike, *, power: float = 1.0, out: Floats | None = None) -> Floats:
    """Magnitude of complex values raised to a power: (re ** 2 + im ** 2) ** (power / 2).

    src      any shape, complex
    power    above 0: 1 gives magnitudes, 2 squared magnitudes
    returns  the same shape

    The squares are formed in single precision: 1e30 gives infinity and 1e-30 gives 0.
    """
    source = complexes("src", src, 0, empty=True)
    exponent = positive("power", power)
    dst = result(out, source.shape, np.float32, src)
    elementwise(library.kelvoAudioComplexNorm, source.size, [(dst, 4), (source, 8)], exponent)
    return dst


def mag_phase(src: ArrayLike, *, power: float = 1.0, phase_form: Phase = Phase.COMPLEX, threads: int = 1,
              out: tuple[NDArray, NDArray] | None = None) -> tuple[Floats, Floats | Complexes]:
    """Splits complex spectrograms into magnitude raised to a power and phase.

    src      [..., freq_n, frame_n] complex
    power    >= 0; with 0 every magnitude is 1
    out      two arrays, for magnitudes and phases
    returns  (magnitudes, phases), both [..., freq_n, frame_n]: unit complex64 values with Phase.COMPLEX, angles in
             radians as float32 with Phase.ANGLE
    """
    source = complexes("src", src, 2, empty=True)
    phase_form = mode("phase_form", phase_form, Phase)
    power = not_negative("power", power)
    if out is not None and (not isinstance(out, tuple) or len(out) != 2):
        raise ValueError("out: expected two arrays, for magnitudes and phases")
    out_mag, out_phase = out or (None, None)
    dst_mag = result(out_mag, source.shape, np.float32, src)
    phase_type = np.complex64 if phase_form == Phase.COMPLEX else np.float32
    dst_phase = result(out_phase, source.shape, phase_type, src, out_mag)
    if source.size:
        call_each(library.kelvoAudioMagPhase, item_count(source, 2), integer("threads", threads), items(dst_mag, 2),
                  items(dst_phase, 2), items(source, 2), *source.shape[-2:], power, phase_form)
    return dst_mag, dst_phase
