"""Log-mel features of a 16-bit WAV file, for a model that wants them as an array.

Usage: log_mel.py RECORDING.wav [FEATURES.npy]
"""

import sys
import wave

import numpy as np

import kelvo_audio

MODEL_RATE = 16000


def read_wav(path: str) -> tuple[np.ndarray, int]:
    with wave.open(path) as file:
        if file.getsampwidth() != 2:
            raise ValueError(f"{path}: not a 16-bit file")
        samples = np.frombuffer(file.readframes(file.getnframes()), "<i2").reshape(-1, file.getnchannels())
        return samples.mean(axis=1, dtype=np.float32) / 32768, file.getframerate()


def main(recording: str, features: str | None = None) -> None:
    signal, rate = read_wav(recording)
    if rate != MODEL_RATE:
        signal = kelvo_audio.resample(signal, dst_sample_rate=MODEL_RATE, src_sample_rate=rate)
    log_mel = kelvo_audio.power_to_db(kelvo_audio.mel_spectrogram(signal, sample_rate=MODEL_RATE))
    print(f"{log_mel.shape[0]} bands x {log_mel.shape[1]} frames, {log_mel.min():.1f} to {log_mel.max():.1f} dB")
    if features:
        np.save(features, log_mel)


if __name__ == "__main__":
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    main(*sys.argv[1:])
