/* Log-mel features of a 16-bit WAV file in mono: cc log_mel.c -lkelvo_audio
 * Usage: log_mel RECORDING.wav FEATURES.f32     writes [80 bands x frames] floats, and prints their shape */
#include <kelvo_audio.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kMelN = 80, kFftN = 400, kHopN = 160, kHeaderBytes = 44 };

int main(int argument_n, char** arguments) {
  static uint8_t bytes[kHeaderBytes + 2 * 16000 * 600]; /* ten minutes at 16 kHz */
  FILE* file = argument_n == 3 ? fopen(arguments[1], "rb") : NULL;
  const int sample_n = file == NULL ? 0 : ((int)fread(bytes, 1, sizeof bytes, file) - kHeaderBytes) / 2;
  if (sample_n < kFftN || memcmp(bytes + 36, "data", 4) != 0) {
    return fputs("usage: log_mel RECORDING.wav FEATURES.f32, 16-bit mono\n", stderr), 2;
  }
  fclose(file);

  const int rate = bytes[24] | bytes[25] << 8 | bytes[26] << 16;
  float* samples = malloc(sizeof(float) * (size_t)sample_n);
  for (int i = 0; i < sample_n; ++i) {
    const uint8_t* pcm = bytes + kHeaderBytes + 2 * i;
    samples[i] = (float)(int16_t)(pcm[0] | pcm[1] << 8) / 32768.0f;
  }
  int frame_n = 0;
  int status = kelvoAudioGetFrameLen(&frame_n, sample_n, kFftN, kHopN, KELVO_AUDIO_CENTER_REFLECT);
  float* mel = malloc(sizeof(float) * kMelN * (size_t)frame_n);
  if (status == KELVO_AUDIO_STATUS_OK)
    status =
        kelvoAudioGetMelSpectrogram(mel, samples, sample_n, rate, kFftN, kHopN, kFftN, KELVO_AUDIO_WINDOW_HANN, frame_n,
                                    KELVO_AUDIO_CENTER_REFLECT, 2.0f, KELVO_AUDIO_NORM_NONE, 0.0f, (float)rate / 2.0f,
                                    kMelN, KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY);
  if (status == KELVO_AUDIO_STATUS_OK) status = kelvoAudioConvertPowerToDB(mel, mel, kMelN * frame_n, 80.0f);
  if (status != KELVO_AUDIO_STATUS_OK) return fprintf(stderr, "status %d\n", status), 1;

  printf("%d bands x %d frames\n", kMelN, frame_n);
  file = fopen(arguments[2], "wb");
  const int written = file != NULL && fwrite(mel, sizeof(float) * kMelN, (size_t)frame_n, file) == (size_t)frame_n;
  return file != NULL && fclose(file) == 0 && written ? 0 : 1;
}
