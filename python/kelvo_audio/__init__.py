"""kelvo_audio: audio signal processing for the stages around machine-learning inference, over NumPy arrays.

One function for each of the library's C functions, and filters in second-order sections. Settings have the names of the
C header and sensible defaults; modes are enumerations.

Signals are one-dimensional, spectrograms [bin, frame], mel spectrograms [band, frame]. Inputs are taken as float32 or
complex64, without a copy where they are that already; integers are converted but not scaled, so bring 16-bit samples to
-1 .. 1 first. Outputs are new arrays.

A bad argument is a ValueError or TypeError whose text starts with the argument's name. Calls let go of the
interpreter's lock: threads run side by side.

    import kelvo_audio as ka
    log_mel = ka.power_to_db(ka.mel_spectrogram(signal, sample_rate=16000, fft_n=400, hop_n=160, mel_n=80))
"""

from ._library import KelvoAudioError
from .filters import filtfilt, lfilter, lfilter_zi, sosfilt, sosfilt_zi, sosfiltfilt
from .mel import complex_norm, convert_to_mel, mag_phase, mel_filter_bank, mel_spectrogram, power_to_db
from .modes import Center, MelFormula, MelNorm, Norm, Pad, Phase, Window
from .rates import resample, resample_len
from .short_time import fix_frame_len, frame_len, inverse_spectrogram, non_silent_pos, sample_len, spectrogram
from .transforms import fft, get_window, ifft, log1p, standardize

__all__ = [
    "Center", "KelvoAudioError", "MelFormula", "MelNorm", "Norm", "Pad", "Phase", "Window", "complex_norm",
    "convert_to_mel", "fft", "filtfilt", "fix_frame_len", "frame_len", "get_window", "ifft", "inverse_spectrogram",
    "lfilter", "lfilter_zi", "log1p", "mag_phase", "mel_filter_bank", "mel_spectrogram", "non_silent_pos",
    "power_to_db", "resample", "resample_len", "sample_len", "sosfilt", "sosfilt_zi", "sosfiltfilt", "spectrogram",
    "standardize",
]
