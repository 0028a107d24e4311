/*
 * Preloaded into a program, it ends it at the first allocation or lock inside a call of the library that is not the
 * first one of its function: that one may build tables. At the end it prints how many calls it watched.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <kelvo_audio.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static __thread const char* watched; /* the function that runs, or null */
static long watched_n;

static void Report(const char* what) {
  const char* function = watched;
  if (function == NULL) return;
  watched = NULL;
  fprintf(stderr, "%s in a warm call of %s\n", what, function);
  _exit(EXIT_FAILURE);
}

__attribute__((destructor)) static void PrintCount(void) { printf("%ld warm calls\n", watched_n); }

/* What the C library calls its own. */
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t count, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void* __libc_memalign(size_t alignment, size_t bytes);
void __libc_free(void* block);

void* malloc(size_t bytes) {
  Report("malloc");
  return __libc_malloc(bytes);
}
void* calloc(size_t count, size_t bytes) {
  Report("calloc");
  return __libc_calloc(count, bytes);
}
void* realloc(void* block, size_t bytes) {
  Report("realloc");
  return __libc_realloc(block, bytes);
}
void* aligned_alloc(size_t alignment, size_t bytes) {
  Report("aligned_alloc");
  return __libc_memalign(alignment, bytes);
}
void free(void* block) {
  Report("free");
  __libc_free(block);
}

static void* Next(const char* name) { return dlsym(RTLD_NEXT, name); }

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  static int (*next)(pthread_mutex_t*);
  Report("pthread_mutex_lock");
  if (next == NULL) *(void**)&next = Next("pthread_mutex_lock");
  return next(mutex);
}

/* The calls of programs that run with this; a program that makes others fails to find a warm one. */
#define WATCH(function, parameters, arguments)      \
  int function parameters {                         \
    static int(*next) parameters;                   \
    int status;                                     \
    const int is_warm = next != NULL;               \
    if (!is_warm) *(void**)&next = Next(#function); \
    watched = is_warm ? #function : NULL;           \
    status = next arguments;                        \
    watched = NULL;                                 \
    watched_n += is_warm;                           \
    return status;                                  \
  }

WATCH(kelvoAudioLinerFilter,
      (float* dst, const float* src, const float* n_coef, const float* d_coef, float* zi, int dst_n, int src_n,
       int n_coef_n, int d_coef_n, int zi_n),
      (dst, src, n_coef, d_coef, zi, dst_n, src_n, n_coef_n, d_coef_n, zi_n))
WATCH(kelvoAudioResample,
      (float* dst, const float* src, int dst_sample_rate, int dst_n, int src_sample_rate, int src_n),
      (dst, src, dst_sample_rate, dst_n, src_sample_rate, src_n))
WATCH(kelvoAudioGetResampleLen, (int* dst, int dst_sample_rate, int src_sample_n, int src_sample_rate),
      (dst, dst_sample_rate, src_sample_n, src_sample_rate))
WATCH(kelvoAudioGetSpectrogram,
      (float* dst, const float* src, int sample_n, int fft_n, int hop_n, int win_n, int win_type, int max_frame_n,
       int center, float power, int norm_type),
      (dst, src, sample_n, fft_n, hop_n, win_n, win_type, max_frame_n, center, power, norm_type))
WATCH(kelvoAudioGetMelSpectrogram,
      (float* dst, const float* src, int sample_n, int sample_rate, int fft_n, int hop_n, int win_n, int win_type,
       int max_frame_n, int center, float power, int fft_norm_type, float f_min, float f_max, int mel_n, int mel_norm,
       int mel_formula),
      (dst, src, sample_n, sample_rate, fft_n, hop_n, win_n, win_type, max_frame_n, center, power, fft_norm_type, f_min,
       f_max, mel_n, mel_norm, mel_formula))
