/* Frames and resampling of sound that arrives in blocks. */
#include "streams.h"

#include <kelvo_audio.h>
#include <string.h>

static void Append(float* samples, int* sample_n, const float* block, int block_n) {
  memcpy(samples + *sample_n, block, sizeof(float) * (size_t)block_n);
  *sample_n += block_n;
}

static void DropSamples(float* samples, int* sample_n, int drop_n) {
  *sample_n -= drop_n;
  memmove(samples, samples + drop_n, sizeof(float) * (size_t)*sample_n);
}

void InitFrameStream(FrameStream* stream, int fft_n, int hop_n) {
  stream->fft_n = fft_n;
  stream->hop_n = hop_n;
  stream->sample_n = 0;
}

int PushBlock(FrameStream* stream, const float* block, int block_n) {
  Append(stream->samples, &stream->sample_n, block, block_n);
  return stream->sample_n < stream->fft_n ? 0 : 1 + (stream->sample_n - stream->fft_n) / stream->hop_n;
}

void DropFrames(FrameStream* stream, int frame_n) {
  DropSamples(stream->samples, &stream->sample_n, frame_n * stream->hop_n);
}

int InitResampleStream(ResampleStream* stream, int dst_sample_rate, int src_sample_rate) {
  int divisor = dst_sample_rate, rest = src_sample_rate;
  memset(stream, 0, sizeof *stream);
  while (rest != 0) {
    const int next = divisor % rest;
    divisor = rest;
    rest = next;
  }
  stream->dst_sample_rate = dst_sample_rate;
  stream->src_sample_rate = src_sample_rate;
  stream->up = dst_sample_rate / divisor;
  stream->down = src_sample_rate / divisor;
  stream->context_n = (kReachN + stream->down - 1) / stream->down;
  return stream->down <= kMaxCycleN && stream->up <= kMaxRise * stream->down ? 0 : -1;
}

/* Resamples the kept samples, up to output end_n, and reports which part of the output is new. */
static int Resample(ResampleStream* stream, int end_n, const float** dst, int* dst_n) {
  const int old_n = stream->given_n * stream->up;
  int status = KELVO_AUDIO_STATUS_OK;
  *dst = stream->resampled + old_n;
  *dst_n = end_n > old_n ? end_n - old_n : 0;
  if (*dst_n > 0)
    status = kelvoAudioResample(stream->resampled, stream->samples, stream->dst_sample_rate, end_n,
                                stream->src_sample_rate, stream->sample_n);
  stream->dst_n += *dst_n;
  return status;
}

int ResampleBlock(ResampleStream* stream, const float* block, int block_n, const float** dst, int* dst_n) {
  int cycle_n, drop_n, status;
  Append(stream->samples, &stream->sample_n, block, block_n);
  stream->src_n += block_n;
  /* Cycles with enough input after them: the reach and a sample more, as a call ends where its filter meets the end. */
  cycle_n = (stream->sample_n - kReachN - 1) / stream->down;
  if (cycle_n < stream->given_n) cycle_n = stream->given_n;
  status = Resample(stream, cycle_n * stream->up, dst, dst_n);
  drop_n = cycle_n > stream->context_n ? cycle_n - stream->context_n : 0;
  DropSamples(stream->samples, &stream->sample_n, drop_n * stream->down);
  stream->given_n = cycle_n - drop_n;
  return status;
}

int ResampleRest(ResampleStream* stream, const float** dst, int* dst_n) {
  int whole_n = 0, status;
  *dst = stream->resampled;
  *dst_n = 0;
  if (stream->src_n == 0) return KELVO_AUDIO_STATUS_OK;
  status = kelvoAudioGetResampleLen(&whole_n, stream->dst_sample_rate, stream->src_n, stream->src_sample_rate);
  if (status != KELVO_AUDIO_STATUS_OK) return status;
  return Resample(stream, whole_n - stream->dst_n + stream->given_n * stream->up, dst, dst_n);
}
