/*
 * kelvo_audio: audio signal processing for the stages around machine-learning inference.
 *
 * Arrays    The caller owns and sizes every array; the library trusts the counts it is given and keeps no pointer.
 *           Outputs come first in every parameter list. Unless a function says otherwise, an output may not overlap an
 *           input. Samples and features are 32-bit floats.
 * Layouts   A complex value is two consecutive floats, real part first. Matrices are row-major: a spectrogram
 *           [freq_n x frame_n] has one row per frequency bin, a mel spectrogram [mel_n x frame_n] one row per mel band,
 *           a filter bank [mel_n x freq_n] one row per filter.
 * Errors    Every function returns a status. Checks run in the order in which a function lists them, null pointers
 *           first. On failure no output has been written, nothing is leaked, and later calls are unaffected.
 *           Nothing is ever printed or logged.
 * Threads   Every function may be called from any thread at any time, as long as calls that run at once do not share an
 *           output array. The first call with new settings builds a table (FFT, window, filter bank, resampling filter)
 *           that is kept until the process exits; calls must not run on once exit() has begun. errno is unspecified
 *           after a call.
 * Real time Once the tables for its settings exist, a call waits for no other thread, whatever tables others build. If
 *           it is small, it also allocates nothing, makes no system call and needs at most 48 KiB of stack, as threads
 *           that play sound require. Small are
 *             - spectrograms, mel spectrograms and inverse spectrograms of one frame a call, and transforms, of up to
 *               2048 points if their number is even, else 1024, without prime factors above 31;
 *             - filters over up to 1024 samples, with up to 512 coefficients; for kelvoAudioFilterFilter up to 128, and
 *               a pad_len of up to 384;
 *             - resampling of up to 1024 samples; kelvoAudioGetNonSilentPos of up to 1024;
 *             - kelvoAudioConvertToMel with up to 1024 bands; the other functions, with any count.
 *           A call that is rejected for a bad argument throws and catches an exception inside, which may allocate.
 * Cost      Time grows with the values that a call reads and writes, and as fft_n log(fft_n) for each frame of fft_n
 *           samples, unless a function says otherwise. A first call also computes its tables, each entry once. A power
 *           above 128, or with a result that is no normal float, takes up to some ten thousand operations a value.
 *           Transforms of signals that hold only denormals take 20 to 90 times as long on many CPUs.
 *           docs/bounds.md has the worst settings, and what memory a call takes and keeps.
 * Numbers   A result depends on the arguments alone: not on the CPU's vector width, the thread, earlier calls, or the
 *           other frames of a call. NaN and infinities are data and propagate as the formulas say. A NaN is a NaN: its
 *           sign and payload, which differ between CPUs, are no part of the result. The caller's floating-point
 *           settings (rounding, flushing of denormals, traps) have no influence and are left as they were; exception
 *           flags may be raised.
 *
 * The main chain, from a signal at 16 kHz to log-mel features:
 *
 *     int frame_n;
 *     kelvoAudioGetFrameLen(&frame_n, sample_n, 400, 160, KELVO_AUDIO_CENTER_REFLECT);
 *     float* mel = malloc(sizeof(float) * 80 * (size_t)frame_n);
 *     int status = kelvoAudioGetMelSpectrogram(mel, samples, sample_n, 16000, 400, 160, 400, KELVO_AUDIO_WINDOW_HANN,
 *                                              frame_n, KELVO_AUDIO_CENTER_REFLECT, 2.0f, KELVO_AUDIO_NORM_NONE, 0.0f,
 *                                              8000.0f, 80, KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY);
 *     if (status == KELVO_AUDIO_STATUS_OK) status = kelvoAudioConvertPowerToDB(mel, mel, 80 * frame_n, 80.0f);
 */
#ifndef KELVO_AUDIO_H
#define KELVO_AUDIO_H

/* The version; before 1.0 a new minor version may change the interface. */
#define KELVO_AUDIO_VERSION_MAJOR 0
#define KELVO_AUDIO_VERSION_MINOR 1
#define KELVO_AUDIO_VERSION_PATCH 0

#if defined(_WIN32)
#if defined(KELVO_AUDIO_STATIC) /* for programs that link the static library */
#define KELVO_AUDIO_API
#elif defined(KELVO_AUDIO_BUILD)
#define KELVO_AUDIO_API __declspec(dllexport)
#else
#define KELVO_AUDIO_API __declspec(dllimport)
#endif
#else
#define KELVO_AUDIO_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What a function returns. */
enum {
  KELVO_AUDIO_STATUS_OK = 0,
  KELVO_AUDIO_STATUS_BAD_ARGUMENT = -1, /* a null pointer, or a value out of range */
  KELVO_AUDIO_STATUS_OUT_OF_MEMORY = -5,
  KELVO_AUDIO_STATUS_UNEXPECTED_ERROR = -128 /* an impossible size, or an operating system call that failed */
};

/* win_type: both windows are periodic, w[i] = a - b * cos(2 pi i / n). */
enum { KELVO_AUDIO_WINDOW_HANN = 1, KELVO_AUDIO_WINDOW_HAMMING = 2 };

/* center: what lies beyond the ends of the signal when frame t is centred on sample t * hop_n. */
enum {
  KELVO_AUDIO_CENTER_NONE = 0,    /* not centred: frame t starts at sample t * hop_n */
  KELVO_AUDIO_CENTER_REFLECT = 1, /* fft_n / 2 samples mirrored about each end, the end itself not repeated */
  KELVO_AUDIO_CENTER_ZERO = 2     /* fft_n / 2 zeros at each end */
};

/* norm_type, fft_norm_type: a factor on every complex bin. */
enum {
  KELVO_AUDIO_NORM_NONE = 0,
  KELVO_AUDIO_NORM_WINDOW_L2 = 1, /* 1 / sqrt(sum of the squared window) */
  KELVO_AUDIO_NORM_TWO_OVER_N = 2 /* 2 / fft_n */
};

/* mel_norm: the height of a filter. */
enum {
  KELVO_AUDIO_MEL_NORM_NONE = 0,  /* peak 1 */
  KELVO_AUDIO_MEL_NORM_SLANEY = 1 /* 2 / (width of the band in Hz): equal areas */
};

/* mel_formula: the mel scale. */
enum {
  KELVO_AUDIO_MEL_SLANEY = 0, /* linear below 1000 Hz, logarithmic above */
  KELVO_AUDIO_MEL_HTK = 1     /* 2595 log10(1 + f / 700) */
};

/* phase_form: how a phase is given. */
enum {
  KELVO_AUDIO_PHASE_ANGLE = 0,  /* radians in [-pi, pi] */
  KELVO_AUDIO_PHASE_COMPLEX = 1 /* (cos, sin) of the angle */
};

/* pad_type: how a signal x[0 .. n-1] goes on beyond its ends, d samples away from the end. */
enum {
  KELVO_AUDIO_PAD_NONE = 0,
  KELVO_AUDIO_PAD_ODD = 1,     /* 2 x[0] - x[d] and 2 x[n-1] - x[n-1-d] */
  KELVO_AUDIO_PAD_EVEN = 2,    /* x[d] and x[n-1-d] */
  KELVO_AUDIO_PAD_CONSTANT = 3 /* x[0] and x[n-1] */
};

/* ---- Element-wise ------------------------------------------------------------------------------------------------ */

/**
 * Natural logarithm of one plus each value, correctly rounded.
 *
 * dst    out  [src_n] floats; may be src
 * src    in   [src_n] floats; -1 gives -infinity, values below -1 and NaN give NaN
 * src_n  in   >= 1
 *
 * Returns OK or BAD_ARGUMENT (null dst or src; src_n). [any thread]
 */
KELVO_AUDIO_API int kelvoAudioLog1p(float* dst, const float* src, int src_n);

/**
 * Shifts and scales to zero mean and unit (population) standard deviation, in single precision throughout.
 *
 * dst    out  [src_n] floats; may be src
 * src    in   [src_n] floats
 * src_n  in   >= 1
 *
 * The variance is the mean of the squares minus the square of the mean. A deviation of exactly 0 counts as 1e-16, so a
 * constant input usually gives zeros; a variance that rounding made negative gives NaN in every output.
 *
 * Returns OK or BAD_ARGUMENT (null dst or src; src_n). [any thread]
 */
KELVO_AUDIO_API int kelvoAudioStandardize(float* dst, const float* src, int src_n);

/* ---- Discrete Fourier transform ---------------------------------------------------------------------------------- */

/**
 * Discrete Fourier transform of a real signal: bin k = sum over j of src[j] * exp(-2 pi i j k / fft_n), unscaled.
 *
 * dst    out  [fft_n] complex: all bins, those above fft_n / 2 the conjugates of those below; may be src
 * src    in   [fft_n] floats
 * fft_n  in   1 to 2^30 - 1, powers of two up to 2^27. The time grows as fft_n log(fft_n). Products of 2, 3 and 5 are
 *             fastest; large prime factors take four to ten times as long, and above 2^29 their square
 *
 * Returns OK, BAD_ARGUMENT (null dst or src; fft_n < 1), OUT_OF_MEMORY or UNEXPECTED_ERROR (fft_n beyond the limits).
 * [any thread] [the first call per fft_n builds a table]
 */
KELVO_AUDIO_API int kelvoAudioFFT(float* dst, const float* src, int fft_n);

/**
 * Inverse discrete Fourier transform: sample j = (1 / fft_n) * sum over k of src[k] * exp(+2 pi i j k / fft_n).
 *
 * dst    out  [fft_n] complex; may be src
 * src    in   [fft_n] complex
 * fft_n  in   as for kelvoAudioFFT
 *
 * Returns as kelvoAudioFFT. [any thread] [the first call per fft_n builds a table]
 */
KELVO_AUDIO_API int kelvoAudioIFFT(float* dst, const float* src, int fft_n);

/* ---- Windows and frames ------------------------------------------------------------------------------------------ */

/**
 * A periodic window: Hann 0.5 - 0.5 cos(2 pi i / window_n), Hamming 0.54 - 0.46 cos(2 pi i / window_n).
 *
 * dst       out  [window_n] floats
 * window_n  in   >= 1
 * win_type  in   KELVO_AUDIO_WINDOW_...
 *
 * Returns OK, BAD_ARGUMENT (null dst; window_n; win_type) or OUT_OF_MEMORY.
 * [any thread] [the first call per length and type builds a table]
 */
KELVO_AUDIO_API int kelvoAudioGetWindow(float* dst, int window_n, int win_type);

/**
 * Number of frames that kelvoAudioGetSpectrogram and kelvoAudioGetMelSpectrogram make of a signal.
 *
 * frame_n   out  0 when sample_n < fft_n, else floor((sample_n - fft_n) / hop_n + 1) uncentred, floor(sample_n / hop_n
 *                + 1) with reflection, ceil(sample_n / hop_n) + 1 with zeros, formed in single precision (from 11
 *                million samples on it may be one frame more or less) and saturated to int, as for hop_n 0
 * sample_n  in   samples, >= 1
 * fft_n     in   samples, >= 1
 * hop_n     in   samples, >= 0
 * center    in   KELVO_AUDIO_CENTER_...
 *
 * Returns OK or BAD_ARGUMENT (null frame_n; sample_n; fft_n; hop_n; center). [any thread]
 */
KELVO_AUDIO_API int kelvoAudioGetFrameLen(int* frame_n, int sample_n, int fft_n, int hop_n, int center);

/**
 * Number of samples that kelvoAudioGetInverseSpectrogram makes of a spectrogram.
 *
 * sample_n  out  (frame_n - 1) * hop_n, uncentred plus 2 * freq_n - 2; wraps around beyond 32 bits
 * frame_n   in   frames, >= 1
 * freq_n    in   bins, fft_n / 2 + 1, >= 1
 * hop_n     in   samples, >= 0
 * center    in   KELVO_AUDIO_CENTER_...
 *
 * Returns OK or BAD_ARGUMENT (null sample_n; frame_n; freq_n; hop_n; center). [any thread]
 */
KELVO_AUDIO_API int kelvoAudioGetSampleLen(int* sample_n, int frame_n, int freq_n, int hop_n, int center);

/**
 * Fits a matrix to a number of frames: cuts columns off, or appends columns of one value. For a complex spectrogram
 * pass twice the frame counts.
 *
 * dst          out  [freq_n x dst_frame_n] floats
 * src          in   [freq_n x src_frame_n] floats
 * freq_n       in   rows, >= 1
 * dst_frame_n  in   >= 1
 * src_frame_n  in   >= 1
 * pad_value    in   any
 *
 * Returns OK or BAD_ARGUMENT (null dst or src; freq_n; dst_frame_n; src_frame_n). [any thread]
 */
KELVO_AUDIO_API int kelvoAudioFixFrameLen(float* dst, const float* src, int freq_n, int dst_frame_n, int src_frame_n,
                                          float pad_value);

/* ---- Spectrogram ------------------------------------------------------------------------------------------------- */

/**
 * Short-time Fourier transform: frames of fft_n samples every hop_n samples, each windowed and transformed.
 *
 * dst          out  [fft_n / 2 + 1 x max_frame_n] complex; column t of each row is frame t; the columns beyond the
 *                   frame count are not written
 * src          in   [sample_n] floats
 * sample_n     in   samples, >= 1; fewer than fft_n give no frame at all
 * fft_n        in   as for kelvoAudioFFT
 * hop_n        in   samples, >= 0
 * win_n        in   window length, 1 to fft_n; the window is centred in the frame
 * win_type     in   KELVO_AUDIO_WINDOW_...
 * max_frame_n  in   columns of dst, >= 1; at most that many frames are computed
 * center       in   KELVO_AUDIO_CENTER_...
 * power        in   0 (or NaN): complex bins; above 0: (|bin|^power, 0)
 * norm_type    in   KELVO_AUDIO_NORM_..., applied before the power
 *
 * Returns OK, BAD_ARGUMENT (null dst or src; sample_n; fft_n; hop_n; win_n < 1; win_type; max_frame_n; center; power;
 * norm_type; win_n > fft_n), OUT_OF_MEMORY or UNEXPECTED_ERROR (fft_n beyond the limits of kelvoAudioFFT).
 * [any thread] [the first call per fft_n and window builds tables]
 */
KELVO_AUDIO_API int kelvoAudioGetSpectrogram(float* dst, const float* src, int sample_n, int fft_n, int hop_n,
                                             int win_n, int win_type, int max_frame_n, int center, float power,
                                             int norm_type);

/**
 * Signal of a one-sided complex spectrogram: inverse transforms, windowed, overlap-added, and divided by the sum of the
 * squared windows wherever that exceeds 1e-10 [Griffin and Lim 1984].
 *
 * dst           out  [min(L, max_sample_n)] floats, L = fft_n + (frame_n - 1) * hop_n with fft_n = 2 * freq_n - 2;
 *                    samples after the last frame are 0, those beyond the count are not written
 * src           in   [freq_n x frame_n] complex; the imaginary parts of the first and last bin are ignored
 * frame_n       in   frames, the columns and the row stride of src, >= 1
 * freq_n        in   bins, >= 2
 * hop_n         in   samples, >= 0
 * win_n         in   window length, 1 to fft_n
 * win_type      in   KELVO_AUDIO_WINDOW_...
 * max_sample_n  in   >= 1; kelvoAudioGetSampleLen gives the meaningful length
 * center        in   KELVO_AUDIO_CENTER_...; both centred modes leave out the first fft_n / 2 samples
 * norm_type     in   KELVO_AUDIO_NORM_...; TWO_OVER_N is inverted, WINDOW_L2 is left to the caller
 *
 * Returns OK, BAD_ARGUMENT (null dst or src; frame_n; freq_n < 1; hop_n; win_n < 1; win_type; max_sample_n; center;
 * norm_type; freq_n = 1 or above 2^30; win_n > fft_n), OUT_OF_MEMORY or UNEXPECTED_ERROR (fft_n beyond the limits of
 * kelvoAudioFFT; L beyond 32 bits). [any thread] [the first call per fft_n and window builds tables]
 */
KELVO_AUDIO_API int kelvoAudioGetInverseSpectrogram(float* dst, const float* src, int frame_n, int freq_n, int hop_n,
                                                    int win_n, int win_type, int max_sample_n, int center,
                                                    int norm_type);

/* ---- Silence ----------------------------------------------------------------------------------------------------- */

/**
 * Finds the part of a signal between leading and trailing silence: from the first to the last frame whose mean square
 * is less than thr_db below that of the loudest. Silence within it is not reported.
 *
 * start_pos    out  first sample, a multiple of hop_n, at most sample_n; -1 if no frame counts
 * nonsilent_n  out  samples, up to one hop past the centre of the last frame or to the end of the signal; 0 if no frame
 *                   counts
 * src          in   [sample_n] floats
 * sample_n     in   samples, >= 1; fewer than win_n give no frame at all
 * win_n        in   frame length in samples, >= 1; frames are centred as by KELVO_AUDIO_CENTER_REFLECT
 * hop_n        in   samples, >= 1; 0 is accepted, but runs out of memory if there is any frame
 * thr_db       in   dB, >= 0; with 0 no frame counts, since none is less than 0 dB below the loudest
 *
 * A mean square below 1e-10 counts as 1e-10 (-100 dB), so that a signal of zeros counts as a whole. A frame that holds
 * a NaN never counts. Takes (sample_n / hop_n + 1) * win_n steps, since each frame's squares are added in order.
 *
 * Returns OK, BAD_ARGUMENT (null start_pos, nonsilent_n or src; sample_n; win_n; hop_n; thr_db) or OUT_OF_MEMORY.
 * [any thread]
 */
KELVO_AUDIO_API int kelvoAudioGetNonSilentPos(int* start_pos, int* nonsilent_n, const float* src, int sample_n,
                                              int win_n, int hop_n, float thr_db);

/* ---- Mel --------------------------------------------------------------------------------------------------------- */

/**
 * Mel filter bank: triangular filters over the bins of a one-sided spectrum [Slaney 1998, O'Shaughnessy 1987].
 *
 * dst           out  [mel_n x freq_n] floats, row m holds filter m
 * freq_n        in   bins, > mel_n; bin k is at k * sample_rate / (2 * (freq_n - 1)) Hz
 * f_min, f_max  in   Hz, 0 <= f_min < f_max; bands above sample_rate / 2 are zeros
 * mel_n         in   filters, >= 1
 * sample_rate   in   Hz, >= 1
 * mel_norm      in   KELVO_AUDIO_MEL_NORM_...
 * mel_formula   in   KELVO_AUDIO_MEL_SLANEY or KELVO_AUDIO_MEL_HTK
 *
 * The table takes 4 * mel_n * freq_n bytes, and as many steps to build.
 *
 * Returns OK, BAD_ARGUMENT (null dst; freq_n < 1; f_min; f_max; f_max <= f_min; mel_n < 1; freq_n <= mel_n;
 * sample_rate; mel_norm; mel_formula) or OUT_OF_MEMORY. [any thread] [the first call per settings builds a table]
 *
 *     float bank[80 * 201];
 *     int status = kelvoAudioGetFBMatrix(bank, 201, 0, 8000, 80, 16000, KELVO_AUDIO_MEL_NORM_SLANEY,
 *                                        KELVO_AUDIO_MEL_SLANEY);
 */
KELVO_AUDIO_API int kelvoAudioGetFBMatrix(float* dst, int freq_n, float f_min, float f_max, int mel_n, int sample_rate,
                                          int mel_norm, int mel_formula);

/**
 * Mel spectrogram: the spectrogram's frames, |bin|^power, times the filter bank. Equal to kelvoAudioConvertToMel of
 * kelvoAudioGetSpectrogram's powers, bit for bit.
 *
 * dst                    out  [mel_n x frames] floats, frames = min(max_frame_n, count of kelvoAudioGetFrameLen):
 *                             packed, unlike kelvoAudioGetSpectrogram's output
 * src ... max_frame_n    in   as for kelvoAudioGetSpectrogram
 * sample_rate            in   Hz, >= 1
 * center, fft_norm_type  in   as center and norm_type of kelvoAudioGetSpectrogram
 * power                  in   >= 0; with 0 every |bin|^power is 1
 * f_min ... mel_formula  in   as for kelvoAudioGetFBMatrix, with mel_n <= fft_n / 2
 *
 * The filter bank is kelvoAudioGetFBMatrix's table. With an infinite f_max all of its weights are NaN, and each frame
 * takes mel_n * fft_n / 2 steps.
 *
 * Returns OK, BAD_ARGUMENT (null dst or src; sample_n; sample_rate; fft_n; hop_n; win_n < 1; win_type; max_frame_n;
 * center; power; fft_norm_type; f_min; f_max; f_max <= f_min; mel_n; mel_n > fft_n / 2; mel_norm; mel_formula;
 * win_n > fft_n), OUT_OF_MEMORY or UNEXPECTED_ERROR (fft_n beyond the limits of kelvoAudioFFT).
 * [any thread] [the first call per fft_n, window and bank builds tables]
 */
KELVO_AUDIO_API int kelvoAudioGetMelSpectrogram(float* dst, const float* src, int sample_n, int sample_rate, int fft_n,
                                                int hop_n, int win_n, int win_type, int max_frame_n, int center,
                                                float power, int fft_norm_type, float f_min, float f_max, int mel_n,
                                                int mel_norm, int mel_formula);

/**
 * Applies a filter bank to a real spectrogram: dst = fb_matrix * src, each sum in ascending order of bins.
 *
 * dst        out  [mel_n x frame_n] floats
 * src        in   [freq_n x frame_n] floats
 * fb_matrix  in   [mel_n x freq_n] floats, as kelvoAudioGetFBMatrix gives them or any other
 * freq_n     in   > mel_n
 * frame_n    in   >= 1
 * mel_n      in   >= 1
 *
 * Takes mel_n * freq_n * frame_n steps, less those of zeros at the ends of a filter.
 *
 * Returns OK, BAD_ARGUMENT (null dst, src or fb_matrix; freq_n < 1; mel_n; freq_n <= mel_n; frame_n) or OUT_OF_MEMORY.
 * [any thread]
 */
KELVO_AUDIO_API int kelvoAudioConvertToMel(float* dst, const float* src, const float* fb_matrix, int freq_n,
                                           int frame_n, int mel_n);

/* ---- Spectral conversions ---------------------------------------------------------------------------------------- */

/**
 * Power to decibels below the largest value: 10 log10(max(src, 1e-10)) - 10 log10(max(peak, 1e-10)).
 *
 * dst     out  [src_n] floats, dB; may be src
 * src     in   [src_n] floats
 * src_n   in   >= 1
 * top_db  in   >= 0: values lower than -top_db are raised to it; negative: no lower limit
 *
 * A NaN counts as 1e-10, and never as the peak unless it is the first value.
 *
 * Returns OK or BAD_ARGUMENT (null dst or src; src_n). [any thread]
 */
KELVO_AUDIO_API int kelvoAudioConvertPowerToDB(float* dst, const float* src, int src_n, float top_db);

/**
 * Magnitude of complex values raised to a power: (re^2 + im^2)^(power / 2).
 *
 * dst    out  [src_n] floats
 * src    in   [src_n] complex
 * src_n  in   >= 1
 * power  in   > 0: 1 gives magnitudes, 2 squared magnitudes
 *
 * The squares are formed in single precision: 1e30 gives infinity and 1e-30 gives 0.
 *
 * Returns OK or BAD_ARGUMENT (null dst or src; src_n; power). [any thread]
 */
KELVO_AUDIO_API int kelvoAudioComplexNorm(float* dst, const float* src, int src_n, float power);

/**
 * Splits a complex spectrogram into magnitude raised to a power and phase.
 *
 * dst_mag     out  [freq_n x frame_n] floats
 * dst_phase   out  [freq_n x frame_n] floats (angles) or complex (unit phases)
 * src         in   [freq_n x frame_n] complex
 * freq_n      in   >= 1
 * frame_n     in   >= 1
 * power       in   >= 0; with 0 every magnitude is 1
 * phase_form  in   KELVO_AUDIO_PHASE_...
 *
 * Returns OK or BAD_ARGUMENT (null dst_mag, dst_phase or src; freq_n; frame_n; power; phase_form). [any thread]
 */
KELVO_AUDIO_API int kelvoAudioMagPhase(float* dst_mag, float* dst_phase, const float* src, int freq_n, int frame_n,
                                       float power, int phase_form);

/* ---- Filters ----------------------------------------------------------------------------------------------------- */

/**
 * Filters a signal: d_coef[0] y[i] = sum over k of n_coef[k] x[i-k] - sum over k >= 1 of d_coef[k] y[i-k], in direct
 * form II transposed [Oppenheim and Schafer 2010], in double precision with a single-precision state.
 *
 * dst       out     [dst_n] floats, of which min(dst_n, src_n) are written; may be src
 * src       in      [src_n] floats, of which min(dst_n, src_n) are read
 * n_coef    in      [n_coef_n] floats, the numerator b
 * d_coef    in      [d_coef_n] floats, the denominator a; all coefficients are divided by d_coef[0]
 * zi        in/out  [zi_n] floats or null: the state before the first sample, then that after the last one. With zi_n
 *                   below max(n_coef_n, d_coef_n) - 1, as with null, the filter starts from zeros and zi is not written
 * dst_n     in      >= 1
 * src_n     in      >= 1
 * n_coef_n  in      >= 1
 * d_coef_n  in      >= 1
 * zi_n      in      any
 *
 * Blocks filtered one after the other with the same zi give the same output as one call. A d_coef[0] of 0 gives
 * infinities or NaN. Takes min(dst_n, src_n) * max(n_coef_n, d_coef_n) steps, with feedback one sample after the other
 * unless the filter settles soon.
 *
 * Returns OK, BAD_ARGUMENT (null dst, src, n_coef or d_coef; dst_n; src_n; n_coef_n; d_coef_n) or OUT_OF_MEMORY; on
 * failure dst and zi are untouched. [any thread]
 *
 *     float b[3] = {0.0675f, 0.1349f, 0.0675f}, a[3] = {1, -1.1430f, 0.4128f}, state[2];
 *     int status = kelvoAudioGetLinerFilterZiCoef(state, b, a, 2, 3, 3);
 *     for (int k = 0; k < 2; ++k) state[k] *= samples[0];
 *     if (status == KELVO_AUDIO_STATUS_OK)
 *       status = kelvoAudioLinerFilter(samples, samples, b, a, state, sample_n, sample_n, 3, 3, 2);
 */
KELVO_AUDIO_API int kelvoAudioLinerFilter(float* dst, const float* src, const float* n_coef, const float* d_coef,
                                          float* zi, int dst_n, int src_n, int n_coef_n, int d_coef_n, int zi_n);

/**
 * The state in which a filter has settled on a constant input of 1: with it as zi of kelvoAudioLinerFilter, a constant
 * gives a constant from the first sample on.
 *
 * dst       out  [dst_n] floats: max(n_coef_n, d_coef_n) - 1 state values, as far as they fit, then zeros
 * n_coef    in   [n_coef_n] floats
 * d_coef    in   [d_coef_n] floats; coefficients that sum to zero give infinities or NaN
 * dst_n     in   >= 1
 * n_coef_n  in   >= 1
 * d_coef_n  in   >= 1
 *
 * Returns OK, BAD_ARGUMENT (null dst, n_coef or d_coef; dst_n; n_coef_n; d_coef_n) or OUT_OF_MEMORY. [any thread]
 */
KELVO_AUDIO_API int kelvoAudioGetLinerFilterZiCoef(float* dst, const float* n_coef, const float* d_coef, int dst_n,
                                                   int n_coef_n, int d_coef_n);

/**
 * Filters a signal forwards and then backwards, each time from the settled state of its first sample, so that no
 * frequency is delayed and each is weighted by the square of the filter's magnitude [Gustafsson 1996]. In double
 * precision throughout.
 *
 * dst       out  [dst_n] floats; may be src
 * src       in   [src_n] floats
 * n_coef    in   [n_coef_n] floats
 * d_coef    in   [d_coef_n] floats
 * dst_n     in   >= 1: fewer than src_n receive the first outputs, more also the filtered padding after the signal, as
 *                far as there is any; the rest is not written
 * src_n     in   >= 1
 * n_coef_n  in   >= 1
 * d_coef_n  in   >= 1
 * pad_type  in   KELVO_AUDIO_PAD_...
 * pad_len   in   samples added at each end while filtering, >= 0, and < src_n for odd and even padding; 0 adds none.
 *                3 * max(n_coef_n, d_coef_n) is usual
 *
 * Takes 2 * (src_n + 2 * pad_len) * max(n_coef_n, d_coef_n) steps.
 *
 * Returns OK, BAD_ARGUMENT (null dst, src, n_coef or d_coef; dst_n; src_n; n_coef_n; d_coef_n; pad_type; pad_len),
 * OUT_OF_MEMORY or UNEXPECTED_ERROR (src_n + 2 * pad_len above 2^31 - 1). [any thread]
 */
KELVO_AUDIO_API int kelvoAudioFilterFilter(float* dst, const float* src, const float* n_coef, const float* d_coef,
                                           int dst_n, int src_n, int n_coef_n, int d_coef_n, int pad_type, int pad_len);

/* ---- Resampling -------------------------------------------------------------------------------------------------- */

/**
 * Converts a signal to another sample rate: each output is a sum over 65 inputs, weighted by a sinc under a Blackman
 * window, cut off at half the lower rate [Crochiere and Rabiner 1983].
 *
 * dst              out  [dst_n] floats; may be src
 * src              in   [src_n] floats; zeros are assumed beyond its ends
 * dst_sample_rate  in   >= 1; only the ratio of the rates matters
 * dst_n            in   >= 1, normally the length that kelvoAudioGetResampleLen gives; what lies beyond it becomes 0
 * src_sample_rate  in   >= 1
 * src_n            in   >= 1
 *
 * With U : D the rates in lowest terms, output m is centred on input m D / U, for even U on m D / U - 1 / (2 U).
 * Outputs end where that position reaches the last input: the last few are 0, and so is all of dst for src_n 1.
 *
 * Takes 65 * dst_n steps. The table takes 528 bytes, and 65 sines to build, times dst_sample_rate in lowest terms.
 * Where that is beyond the caches, each output waits for 520 bytes of memory.
 *
 * Returns OK, BAD_ARGUMENT (null dst or src; dst_sample_rate; dst_n; src_sample_rate; src_n) or OUT_OF_MEMORY (also for
 * ratios of very large numbers, by their tables).
 * [any thread] [the first call per ratio builds a table]
 */
KELVO_AUDIO_API int kelvoAudioResample(float* dst, const float* src, int dst_sample_rate, int dst_n,
                                       int src_sample_rate, int src_n);

/**
 * Number of samples that kelvoAudioResample makes of a signal.
 *
 * dst              out  ceil(dst_sample_rate / src_sample_rate * src_sample_n), formed in double precision, at most
 *                       2147483647
 * dst_sample_rate  in   >= 1
 * src_sample_n     in   >= 1
 * src_sample_rate  in   >= 1
 *
 * Returns OK or BAD_ARGUMENT (null dst; dst_sample_rate; src_sample_rate; src_sample_n). [any thread]
 */
KELVO_AUDIO_API int kelvoAudioGetResampleLen(int* dst, int dst_sample_rate, int src_sample_n, int src_sample_rate);

#ifdef __cplusplus
}
#endif

#endif /* KELVO_AUDIO_H */
