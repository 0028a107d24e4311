/*
 * A voice at 48 kHz that arrives in blocks: a high-pass, conversion to 16 kHz, a spectrogram and mel bands.
 *
 * Each stage is also run in one call over the whole signal; the program fails unless both give the same bits.
 */
#include <kelvo_audio.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "streams.h"

enum {
  kSourceRate = 48000,
  kRate = 16000,
  kSourceN = 48000,
  kResampledN = 16000,
  kFftN = 400,
  kFreqN = kFftN / 2 + 1,
  kHopN = 160,
  kMelN = 80,
  kFrameN = 1 + (kResampledN - kFftN) / kHopN
};

/* Second-order high-pass at 80 Hz. */
static const float kNCoef[3] = {0.99262315f, -1.9852463f, 0.99262315f};
static const float kDCoef[3] = {1, -1.9851919f, 0.98530066f};

/* What the stages give, [kFreqN x kFrameN] complex and [kMelN x kFrameN]. */
typedef struct {
  float filtered[kSourceN], resampled[kResampledN];
  float bins[kFreqN * kFrameN * 2], mel[kMelN * kFrameN];
} Results;

static void Check(int status) {
  if (status == KELVO_AUDIO_STATUS_OK) return;
  fprintf(stderr, "status %d\n", status);
  exit(EXIT_FAILURE);
}

static void ComputeBins(float* bins, const float* samples, int sample_n, int frame_n) {
  Check(kelvoAudioGetSpectrogram(bins, samples, sample_n, kFftN, kHopN, kFftN, KELVO_AUDIO_WINDOW_HANN, frame_n,
                                 KELVO_AUDIO_CENTER_NONE, 0, KELVO_AUDIO_NORM_NONE));
}

static void ComputeMel(float* mel, const float* samples, int sample_n, int frame_n) {
  Check(kelvoAudioGetMelSpectrogram(mel, samples, sample_n, kRate, kFftN, kHopN, kFftN, KELVO_AUDIO_WINDOW_HANN,
                                    frame_n, KELVO_AUDIO_CENTER_NONE, 2, KELVO_AUDIO_NORM_NONE, 0, kRate / 2, kMelN,
                                    KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY));
}

static void RunWhole(Results* results, const float* source) {
  float state[2] = {0, 0};
  Check(kelvoAudioLinerFilter(results->filtered, source, kNCoef, kDCoef, state, kSourceN, kSourceN, 3, 3, 2));
  Check(kelvoAudioResample(results->resampled, results->filtered, kRate, kResampledN, kSourceRate, kSourceN));
  ComputeBins(results->bins, results->resampled, kResampledN, kFrameN);
  ComputeMel(results->mel, results->resampled, kResampledN, kFrameN);
}

/* Copies the values of a frame, each of value_n floats, to their column of the whole matrix. */
static void PlaceColumn(float* whole, const float* frame, int row_n, int frame_n, int value_n, int column) {
  int row;
  for (row = 0; row < row_n; ++row)
    memcpy(whole + value_n * (row * frame_n + column), frame + value_n * row, sizeof(float) * (size_t)value_n);
}

/*
 * Computes the frames that a block of resampled samples completes, and returns their number. One frame a call, as on
 * threads that play sound: then the library allocates nothing.
 */
static int ComputeFrames(Results* results, FrameStream* frames, const float* block, int block_n, int start) {
  float bins[kFreqN * 2], mel[kMelN];
  const int frame_n = PushBlock(frames, block, block_n);
  int t;
  for (t = 0; t < frame_n; ++t) {
    const float* samples = frames->samples + t * kHopN;
    ComputeBins(bins, samples, kFftN, 1);
    ComputeMel(mel, samples, kFftN, 1);
    PlaceColumn(results->bins, bins, kFreqN, kFrameN, 2, start + t);
    PlaceColumn(results->mel, mel, kMelN, kFrameN, 1, start + t);
  }
  DropFrames(frames, frame_n);
  return frame_n;
}

static void RunBlocks(Results* results, const float* source) {
  static ResampleStream resampling;
  static FrameStream frames;
  float state[2] = {0, 0};
  int start, block_n, resampled_n = 0, frame_n = 0, end = 0;
  if (InitResampleStream(&resampling, kRate, kSourceRate) != 0) exit(EXIT_FAILURE);
  InitFrameStream(&frames, kFftN, kHopN);

  for (start = 0; !end; start += block_n) {
    const float* resampled;
    int new_n;
    /* Blocks of changing size: 1 to 997 samples. */
    block_n = 1 + start * 31 % 997;
    if (block_n > kSourceN - start) block_n = kSourceN - start;
    end = block_n == 0;
    if (end) {
      Check(ResampleRest(&resampling, &resampled, &new_n));
    } else {
      float* filtered = results->filtered + start;
      Check(kelvoAudioLinerFilter(filtered, source + start, kNCoef, kDCoef, state, block_n, block_n, 3, 3, 2));
      Check(ResampleBlock(&resampling, filtered, block_n, &resampled, &new_n));
    }
    memcpy(results->resampled + resampled_n, resampled, sizeof(float) * (size_t)new_n);
    resampled_n += new_n;
    frame_n += ComputeFrames(results, &frames, resampled, new_n, frame_n);
  }
  if (resampled_n != kResampledN || frame_n != kFrameN) exit(EXIT_FAILURE);
}

static int Compare(const char* stage, const float* whole, const float* blocks, size_t value_n) {
  const int same = memcmp(whole, blocks, sizeof(float) * value_n) == 0;
  printf("%-12s %6lu values, %s\n", stage, (unsigned long)value_n, same ? "the same bits" : "NOT the same bits");
  return same;
}

int main(void) {
  static float source[kSourceN];
  static Results whole, blocks;
  int i, same = 1;
  for (i = 0; i < kSourceN; ++i) source[i] = 0.5f * (float)sin(1e-6 * i * i) + 0.1f * (float)sin(0.006 * i);
  RunWhole(&whole, source);
  RunBlocks(&blocks, source);
  same &= Compare("filter", whole.filtered, blocks.filtered, kSourceN);
  same &= Compare("resampling", whole.resampled, blocks.resampled, kResampledN);
  same &= Compare("spectrogram", whole.bins, blocks.bins, sizeof whole.bins / sizeof(float));
  same &= Compare("mel", whole.mel, blocks.mel, sizeof whole.mel / sizeof(float));
  return same ? EXIT_SUCCESS : EXIT_FAILURE;
}
