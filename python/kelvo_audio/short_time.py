"""Frames, spectrograms and their inverse, and the stretch of a signal that is not silence."""

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._checks import (INT_MAX, Complexes, Floats, fft_length, floats_or_complexes, integer, mode, not_negative,
                      result, samples, spectra, value, warn, window_length)
from ._library import call, call_each, for_each, item_count, items, library, query
from .modes import Center, Norm, Window


def frame_len(sample_n: int, fft_n: int = 400, hop_n: int = 160, center: Center = Center.REFLECT) -> int:
    """Number of frames of a signal: 0 when sample_n < fft_n, else

    Center.NONE     1 + (sample_n - fft_n) // hop_n
    Center.REFLECT  1 + sample_n // hop_n
    Center.ZERO     1 + sample_n / hop_n, rounded up

    formed in single precision: from 11 million samples on it may be one frame more or less.
    """
    return query(library.kelvoAudioGetFrameLen, integer("sample_n", sample_n), integer("fft_n", fft_n),
                 integer("hop_n", hop_n, 0), mode("center", center, Center))


def _sample_len(name: str, frame_n: int, freq_n: int, hop_n: int, center: int) -> int:
    if (frame_n - 1) * hop_n + 2 * freq_n - 2 > INT_MAX:
        raise ValueError(f"{name}: {frame_n} frames give more than {INT_MAX} samples")
    return query(library.kelvoAudioGetSampleLen, frame_n, freq_n, hop_n, center)


def sample_len(frame_n: int, freq_n: int = 201, hop_n: int = 160, center: Center = Center.REFLECT) -> int:
    """Number of samples of an inverse spectrogram: (frame_n - 1) * hop_n, uncentred plus 2 * freq_n - 2."""
    frame_n, freq_n, hop_n = integer("frame_n", frame_n), integer("freq_n", freq_n), integer("hop_n", hop_n, 0)
    return _sample_len("frame_n", frame_n, freq_n, hop_n, mode("center", center, Center))


def fix_frame_len(src: ArrayLike, dst_frame_n: int, pad_value: float = 0.0, *, threads: int = 1,
                  out: NDArray | None = None) -> Floats | Complexes:
    """Fits matrices to a number of frames: cuts columns off, or appends columns of one value.

    src        [..., freq_n, src_frame_n], real or complex; a complex one can be padded with 0 only
    pad_value  any, also NaN and infinities
    returns    [..., freq_n, dst_frame_n]
    """
    source = floats_or_complexes("src", src, 2, empty=True)
    is_complex = source.dtype == np.complex64
    *lead, freq_n, src_frame_n = source.shape
    dst_frame_n = integer("dst_frame_n", dst_frame_n, 1, INT_MAX // (max(freq_n, 1) * 2))
    pad_value = value("pad_value", pad_value)
    if is_complex and pad_value != 0:
        raise ValueError(f"pad_value: must be 0 for a complex src, got {pad_value}")
    dst = result(out, (*lead, freq_n, dst_frame_n), source.dtype, src)
    if source.size == 0:
        dst.fill(pad_value)
        return dst
    floats_n = 2 if is_complex else 1
    call_each(library.kelvoAudioFixFrameLen, item_count(source, 2), integer("threads", threads), items(dst, 2),
              items(source, 2), freq_n, floats_n * dst_frame_n, floats_n * src_frame_n, pad_value)
    return dst


def frame_capacity(sample_n: int, fft_n: int, hop_n: int, center: int, max_frame_n: int | None) -> int:
    """Frames that a call will make: those of the signal, or max_frame_n if that is fewer."""
    frame_n = frame_len(sample_n, fft_n, hop_n, center)
    if sample_n < fft_n:
        warn(f"src: {sample_n} samples are fewer than fft_n, {fft_n}, and give no frame")
    if max_frame_n is not None:
        return min(frame_n, integer("max_frame_n", max_frame_n))
    if hop_n == 0 and frame_n > 0:
        raise ValueError("hop_n: 0 gives frames without end; max_frame_n would limit them")
    return frame_n


def spectrogram(src: ArrayLike, *, fft_n: int = 400, hop_n: int = 160, win_n: int | None = None,
                win_type: Window = Window.HANN, max_frame_n: int | None = None, center: Center = Center.REFLECT,
                power: float = 0.0, norm_type: Norm = Norm.NONE, threads: int = 1,
                out: NDArray | None = None) -> Complexes | Floats:
    """Short-time Fourier transform: frames of fft_n samples every hop_n samples, each windowed and transformed.

    src          [..., sample_n]; fewer than fft_n samples give no frame at all
    win_n        1 to fft_n, which is the default; the window lies in the middle of the frame
    max_frame_n  at most so many frames; without it all that frame_len tells
    power        0: complex bins; above 0: |bin| ** power
    returns      [..., fft_n // 2 + 1, frames], complex64 with power 0, else float32
    """
    source = samples("src", src)
    *lead, sample_n = source.shape
    fft_n, hop_n = fft_length("fft_n", fft_n), integer("hop_n", hop_n, 0)
    center = mode("center", center, Center)
    power = not_negative("power", power)
    frame_n = frame_capacity(sample_n, fft_n, hop_n, center, max_frame_n)
    # The library wants room for one frame at least, even where the signal is too short to fill it.
    settings = (sample_n, fft_n, hop_n, window_length(win_n, fft_n), mode("win_type", win_type, Window),
                max(frame_n, 1), center, power, mode("norm_type", norm_type, Norm))
    item_n, threads = item_count(source, 1), integer("threads", threads)
    shape = (*lead, fft_n // 2 + 1, frame_n)
    dst = result(out, shape, np.float32 if power else np.complex64, src)
    if not power:
        call_each(library.kelvoAudioGetSpectrogram, item_n, threads, items(dst, 2), items(source, 1), *settings)
        return dst

    matrices, signals = dst.reshape(item_n, *shape[-2:]), source.reshape(item_n, sample_n)

    def compute(item: int) -> None:
        bins = np.empty(shape[-2:], np.complex64)  # the library's powers lie in the real parts
        call(library.kelvoAudioGetSpectrogram, bins.ctypes.data, signals[item].ctypes.data, *settings)
        matrices[item] = bins.real

    for_each(item_n, threads, compute)
    return dst


def inverse_spectrogram(src: ArrayLike, *, hop_n: int = 160, win_n: int | None = None,
                        win_type: Window = Window.HANN, max_sample_n: int | None = None,
                        center: Center = Center.REFLECT, norm_type: Norm = Norm.NONE, threads: int = 1,
                        out: Floats | None = None) -> Floats:
    """Signals of one-sided complex spectrograms, by overlap-add over the sum of the squared windows.

    src           [..., freq_n, frame_n] complex, freq_n >= 2; fft_n is 2 * freq_n - 2
    win_n         1 to fft_n, which is the default
    max_sample_n  length of the result, zeros behind the last frame; without it what sample_len tells
    norm_type     Norm.TWO_OVER_N is undone, Norm.WINDOW_L2 is left to the caller
    returns       [..., max_sample_n]
    """
    source = spectra("src", src, 2)
    *lead, freq_n, frame_n = source.shape
    hop_n, center = integer("hop_n", hop_n, 0), mode("center", center, Center)
    if freq_n < 2:
        raise ValueError(f"src: must have 2 rows at least, got shape {source.shape}")
    fft_n = 2 * freq_n - 2
    sample_n = _sample_len("src", frame_n, freq_n, hop_n, center) if frame_n else 0
    if max_sample_n is not None:
        sample_n = integer("max_sample_n", max_sample_n)
    settings = (window_length(win_n, fft_n), mode("win_type", win_type, Window), sample_n, center,
                mode("norm_type", norm_type, Norm))
    dst = result(out, (*lead, sample_n), np.float32, src)
    # The library leaves what lies behind the last frame as it is, and wants room for one sample at least, where a
    # single centred frame tells of none.
    dst[..., fft_n + (frame_n - 1) * hop_n if frame_n else 0 :] = 0
    if sample_n and frame_n:
        call_each(library.kelvoAudioGetInverseSpectrogram, item_count(source, 2), integer("threads", threads),
                  items(dst, 1), items(source, 2), frame_n, freq_n, hop_n, *settings)
    return dst


def non_silent_pos(src: ArrayLike, *, win_n: int = 2048, hop_n: int = 512, thr_db: float = 60.0,
                   threads: int = 1) -> tuple[int, int] | tuple[NDArray[np.intc], NDArray[np.intc]]:
    """The stretch from the first to the last frame whose mean square lies less than thr_db below the loudest one's.

    src      [..., sample_n]; fewer than win_n samples give no frame at all
    returns  (start_pos, nonsilent_n), so that src[start_pos : start_pos + nonsilent_n] is that stretch; (-1, 0) if no
             frame counts; of several signals two arrays [...]
    """
    source = samples("src", src)
    *lead, sample_n = source.shape
    win_n = integer("win_n", win_n)
    if sample_n < win_n:
        warn(f"src: {sample_n} samples are fewer than win_n, {win_n}, and give no frame")
    start_pos, nonsilent_n = np.empty(lead, np.intc), np.empty(lead, np.intc)
    call_each(library.kelvoAudioGetNonSilentPos, item_count(source, 1), integer("threads", threads),
              items(start_pos, 0), items(nonsilent_n, 0), items(source, 1), sample_n, win_n, integer("hop_n", hop_n),
              not_negative("thr_db", thr_db))
    return (start_pos, nonsilent_n) if lead else (int(start_pos), int(nonsilent_n))
