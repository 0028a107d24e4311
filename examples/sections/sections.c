/*
 * A fourth-order high-pass at 80 Hz, as used against hum, in two second-order sections, block by block.
 *
 * As one numerator and one denominator of fourth order the same filter would suffer from the rounding of its
 * coefficients to float: see docs/filters.md.
 */
#include <kelvo_audio.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kSectionN = 2, kBlockN = 480, kSampleRate = 16000 };

static const double kPi = 3.14159265358979323846;

typedef struct {
  float n_coef[3], d_coef[3];
  float state[2];
} Section;

/* Second-order high-pass by the bilinear transform, prewarped so that the corner frequency is exact. */
static Section MakeHighPass(double corner_hz, double quality) {
  const double w = tan(kPi * corner_hz / kSampleRate);
  const double scale = 1 / (1 + w / quality + w * w);
  Section section;
  memset(&section, 0, sizeof section); /* the state of silence */
  section.n_coef[0] = section.n_coef[2] = (float)scale;
  section.n_coef[1] = (float)(-2 * scale);
  section.d_coef[0] = 1;
  section.d_coef[1] = (float)(2 * (w * w - 1) * scale);
  section.d_coef[2] = (float)((1 - w / quality + w * w) * scale);
  return section;
}

/* Filters a block in place. The sections' states carry over to the next block. */
static int FilterBlock(float* samples, int sample_n, Section* sections, int section_n) {
  int status = KELVO_AUDIO_STATUS_OK, s;
  for (s = 0; s < section_n && status == KELVO_AUDIO_STATUS_OK; ++s)
    status = kelvoAudioLinerFilter(samples, samples, sections[s].n_coef, sections[s].d_coef, sections[s].state,
                                   sample_n, sample_n, 3, 3, 2);
  return status;
}

/* The gain of the settled filter for a sine, in dB. */
static int MeasureGain(double* gain_db, double frequency_hz) {
  /* A Butterworth filter: the qualities are 1 / (2 cos(pi / 8)) and 1 / (2 cos(3 pi / 8)). */
  Section sections[kSectionN];
  double energy = 0;
  int block, i, status = KELVO_AUDIO_STATUS_OK;
  sections[0] = MakeHighPass(80, 0.54119610014619698);
  sections[1] = MakeHighPass(80, 1.30656296487637653);
  for (block = 0; block < 200; ++block) {
    float samples[kBlockN];
    for (i = 0; i < kBlockN; ++i) samples[i] = (float)sin(2 * kPi * frequency_hz * (block * kBlockN + i) / kSampleRate);
    status = FilterBlock(samples, kBlockN, sections, kSectionN);
    if (status != KELVO_AUDIO_STATUS_OK) return status;
    for (i = 0; i < kBlockN && block >= 100; ++i) energy += pow((double)samples[i], 2);
  }
  *gain_db = 10 * log10(energy / (100 * kBlockN) * 2);
  return status;
}

int main(void) {
  static const double frequencies_hz[] = {20, 50, 80, 1000};
  size_t i;
  for (i = 0; i < sizeof frequencies_hz / sizeof *frequencies_hz; ++i) {
    double gain_db;
    if (MeasureGain(&gain_db, frequencies_hz[i]) != KELVO_AUDIO_STATUS_OK) return EXIT_FAILURE;
    printf("%4.0f Hz: %6.2f dB\n", frequencies_hz[i], gain_db);
  }
  return EXIT_SUCCESS;
}
