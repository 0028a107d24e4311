"""kelvo_audio: audio signal processing for the stages around machine-learning inference, over NumPy arrays.

One function for each of the library's C functions, and filters in second-order sections. Settings have the names of the
C header and sensible defaults; modes are enumerations.

Signals lie along the last axis and spectrograms [bin, frame] or mel spectrograms [band, frame] along the last two;
axes before them are a batch, whose items are computed one by one, on so many threads= as asked for, with equal bits.
Inputs are taken as float32 or complex64, without a copy where they are that already. Integer samples are refused:
from_pcm16(x) and its kin scale them. Outputs are new arrays, or the one given as out=.

A bad argument is a ValueError or TypeError whose text starts with the argument's name; what is probably meant otherwise
gives a KelvoAudioWarning. Calls let go of the interpreter's lock: threads run side by side.

    import kelvo_audio as ka
    log_mel = ka.power_to_db(ka.mel_spectrogram(signal, sample_rate=16000, fft_n=400, hop_n=160, mel_n=80))

kelvo_audio.recipes has the features of well-known front ends; python -m kelvo_audio computes them from a shell.
"""

from ._checks import KelvoAudioWarning
from ._library import KelvoAudioError
from ._version import find_version
from .filters import filtfilt, lfilter, lfilter_zi, sosfilt, sosfilt_zi, sosfiltfilt
from .mel import complex_norm, convert_to_mel, mag_phase, mel_filter_bank, mel_spectrogram, power_to_db
from .modes import Center, MelFormula, MelNorm, Norm, Pad, Phase, Window
from .pcm import from_pcm8, from_pcm16, from_pcm24, from_pcm32
from .rates import resample, resample_len
from .short_time import fix_frame_len, frame_len, inverse_spectrogram, non_silent_pos, sample_len, spectrogram
from .transforms import fft, get_window, ifft, log1p, standardize

__version__ = find_version()
__all__ = [
    "Center", "KelvoAudioError", "KelvoAudioWarning", "MelFormula", "MelNorm", "Norm", "Pad", "Phase", "Window",
    "complex_norm", "convert_to_mel", "fft", "filtfilt", "fix_frame_len", "frame_len", "from_pcm16", "from_pcm24",
    "from_pcm32", "from_pcm8", "get_window", "ifft", "inverse_spectrogram", "lfilter", "lfilter_zi", "log1p",
    "mag_phase", "mel_filter_bank", "mel_spectrogram", "non_silent_pos", "power_to_db", "resample", "resample_len",
    "sample_len", "sosfilt", "sosfilt_zi", "sosfiltfilt", "spectrogram", "standardize",
]
