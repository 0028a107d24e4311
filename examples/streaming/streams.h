/*
 * Frames and resampling of sound that arrives in blocks, over the functions of kelvo_audio, which keep no state.
 *
 * Both give the bits of one call over the whole signal. They keep the samples that later output needs, in arrays of
 * fixed size; nothing is allocated after initialisation.
 */
#ifndef STREAMS_H
#define STREAMS_H

enum {
  kMaxBlockN = 4800, /* samples that may arrive at once */
  kMaxFrameN = 2048, /* fft_n at most */
  kMaxCycleN = 1024, /* the source rate of the resampler in lowest terms */
  kMaxRise = 6,      /* how many times the rate may rise */
  kReachN = 32,      /* inputs to each side that an output of the resampler depends on */
  kMaxKeptN = 2 * (kMaxCycleN + kReachN)
};

/* Samples whose frames are not complete yet. */
typedef struct {
  int fft_n, hop_n;
  int sample_n;
  float samples[kMaxFrameN + kMaxBlockN];
} FrameStream;

/* hop_n up to fft_n. */
void InitFrameStream(FrameStream* stream, int fft_n, int hop_n);

/*
 * Appends a block and returns the number of complete, uncentred frames in stream->samples, a signal of stream->sample_n
 * samples. Pass it to kelvoAudioGetMelSpectrogram or kelvoAudioGetSpectrogram with KELVO_AUDIO_CENTER_NONE, then drop
 * the frames.
 */
int PushBlock(FrameStream* stream, const float* block, int block_n);
void DropFrames(FrameStream* stream, int frame_n);

/*
 * Input from a number of whole cycles back, where a cycle is the shortest stretch after which the resampler's filters
 * repeat: down input samples, up output samples.
 */
typedef struct {
  int src_sample_rate, dst_sample_rate;
  int up, down;
  int context_n;    /* cycles that are kept because the filters reach back into them */
  int given_n;      /* cycles at the start of samples whose output was given before */
  int src_n, dst_n; /* samples since the start, in and out */
  int sample_n;
  float samples[kMaxKeptN + kMaxBlockN];
  float resampled[kMaxRise * (kMaxKeptN + kMaxBlockN)];
} ResampleStream;

/* Returns 0, or -1 if the ratio of the rates needs longer arrays. */
int InitResampleStream(ResampleStream* stream, int dst_sample_rate, int src_sample_rate);

/* Appends a block; *dst_n new samples are then at *dst, inside the stream. Returns the library's status. */
int ResampleBlock(ResampleStream* stream, const float* block, int block_n, const float** dst, int* dst_n);

/* The remaining samples after the last block. */
int ResampleRest(ResampleStream* stream, const float** dst, int* dst_n);

#endif
