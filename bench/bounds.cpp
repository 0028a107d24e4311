// The worst time that a call takes for its sizes: tables for docs/bounds.md. A row is a family of hostile settings. It
// shows the one whose warm call takes longest, relative to the operations that its counts make, and the one whose first
// call takes longest beyond a warm one, relative to the entries of the tables that it builds. CPU time of the thread.
// Usage: kelvo_audio_bounds [EXPORT]     of all exports, or of one
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kelvo_audio.h"
#include "reliability/calls.h"

namespace kelvo::Bench {
namespace {

using Reliability::CallArrays;
using Reliability::Export;
using Reliability::Scalars;

// A call's counts by their place among the scalars.
struct Counts {
  const Scalars& scalars;
  double operator[](std::size_t i) const { return std::get<int>(scalars[i]); }
};

struct Family {
  const char* name;
  std::vector<Scalars> settings;
  void (*change)(const CallArrays& arrays, const Scalars& scalars) = nullptr;  // of the inputs, else noise
};

// An export's families; the first is of customary settings.
struct Section {
  const char* name;
  const char* unit;                // the operations that are counted
  double (*operations)(Counts n);  // of a warm call
  const char* entry_unit;          // those of a first call, or null where it builds nothing
  double (*entries)(Counts n);
  std::vector<Family> families;
};

double PointsLog(double n) { return n * std::max(std::log2(n), 1.0); }

double FramesOf(Counts n, std::size_t sample_n, std::size_t fft_n, std::size_t hop_n, std::size_t max_frame_n,
                std::size_t center) {
  int frame_n = 0;
  const auto at = [&](std::size_t i) { return static_cast<int>(n[i]); };
  kelvoAudioGetFrameLen(&frame_n, at(sample_n), at(fft_n), at(hop_n), at(center));
  return std::min<double>(frame_n, n[max_frame_n]);
}

double SpectrogramOperations(Counts n) { return FramesOf(n, 0, 1, 2, 5, 6) * PointsLog(n[1]); }
double MelOperations(Counts n) { return FramesOf(n, 0, 2, 3, 6, 7) * PointsLog(n[2]); }
double InverseOperations(Counts n) {
  const double fft_n = 2.0 * n[1] - 2.0;
  return n[0] * PointsLog(fft_n) + std::min(fft_n + (n[0] - 1.0) * n[2], n[5]);
}
double SilenceOperations(Counts n) { return (std::floor(n[0] / n[2]) + 1.0) * n[1] + n[0]; }
double LinerFilterOperations(Counts n) { return (std::min(n[0], n[1]) + 1.0) * std::max(n[2], n[3]); }
double FilterFilterOperations(Counts n) { return 2.0 * (n[1] + 2.0 * n[5] + 1.0) * std::max(n[2], n[3]); }

template <std::size_t... kFactors>
double Product(Counts n) {
  return (n[kFactors] * ...);
}

float* Floats(const CallArrays& arrays, std::size_t i) { return static_cast<float*>(arrays.Pointers()[i]); }
std::size_t Count(const Scalars& scalars, std::size_t i) { return static_cast<std::size_t>(std::get<int>(scalars[i])); }

// Coefficients at arrays 2 and 3, and their counts at scalars 2 and 3, of a filter whose poles all lie at a radius.
void PlacePoles(const CallArrays& arrays, const Scalars& scalars, double radius) {
  float* const a = Floats(arrays, 3);
  const std::size_t a_n = Count(scalars, 3);
  // 1 - r^p z^-p: the p-th roots of unity, times r.
  std::fill_n(a, a_n, 0.0f);
  a[0] = 1.0f;
  if (a_n > 1) a[a_n - 1] = static_cast<float>(-std::pow(radius, static_cast<double>(a_n - 1)));
}
void SettleSoon(const CallArrays& arrays, const Scalars& scalars) { PlacePoles(arrays, scalars, 0.5); }
void SettleLate(const CallArrays& arrays, const Scalars& scalars) { PlacePoles(arrays, scalars, 0.9999); }
// One sample, then silence, in which the state becomes denormal.
void FadeOut(const CallArrays& arrays, const Scalars& scalars) {
  PlacePoles(arrays, scalars, 0.9);
  std::fill_n(Floats(arrays, 1) + 1, Count(scalars, 1) - 1, 0.0f);
}
// Outputs that are NaN.
void Overflow(const CallArrays& arrays, const Scalars& scalars) {
  PlacePoles(arrays, scalars, 2.0);
  Floats(arrays, 1)[0] = std::numeric_limits<float>::infinity();
}

// One NaN every 100 inputs, so that every frame has one.
void PutNans(const CallArrays& arrays, const Scalars& scalars) {
  for (std::size_t i = 0; i < Count(scalars, 0); i += 100) {
    Floats(arrays, 1)[i] = std::numeric_limits<float>::quiet_NaN();
  }
}
// A bank as kelvoAudioGetFBMatrix gives it, for kelvoAudioConvertToMel.
void FillBank(const CallArrays& arrays, const Scalars& scalars) {
  kelvoAudioGetFBMatrix(Floats(arrays, 2), std::get<int>(scalars[0]), 0.0f, 8000.0f, std::get<int>(scalars[2]), 16000,
                        KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY);
}
void FillBankPutNans(const CallArrays& arrays, const Scalars& scalars) {
  FillBank(arrays, scalars);
  std::fill_n(Floats(arrays, 1), Count(scalars, 1), std::numeric_limits<float>::quiet_NaN());
}

std::vector<Scalars> Each(const std::vector<int>& counts) {
  std::vector<Scalars> settings;
  for (const int count : counts) settings.push_back({count});
  return settings;
}
std::vector<int> Range(int first, int last, int step = 1) {
  std::vector<int> counts;
  for (int n = first; n <= last; n += step) counts.push_back(n);
  return counts;
}
// 2^first + offset ... 2^last + offset
std::vector<int> Powers(int first, int last, int offset = 0) {
  std::vector<int> counts;
  for (int k = first; k <= last; ++k) counts.push_back((1 << k) + offset);
  return counts;
}

const std::vector<int> kPrimes{257,   331,   509,   1021,   2053,   4093,   8209,
                               16411, 32771, 65537, 131101, 262147, 524309, 1000003};

std::vector<int> Multiples(const std::vector<int>& counts, int factor) {
  std::vector<int> products;
  for (const int count : counts) products.push_back(count * factor);
  return products;
}

std::vector<Family> TransformFamilies() {
  return {
      {"products of 2, 3 and 5", Each({256, 400, 480, 512, 1024, 1920, 2048, 6000, 8192, 48000, 65536, 1 << 18})},
      {"every length to 2048", Each(Range(256, 2048))},
      {"powers of two", Each(Powers(8, 21))},
      {"odd, of 3, 5, 7", Each({243, 729, 2187, 6561, 59049, 625, 78125, 390625, 343, 16807, 823543, 99225})},
      {"primes", Each(kPrimes)},
      {"2 * prime", Each(Multiples(kPrimes, 2))},
      {"8 * prime", Each(Multiples(kPrimes, 8))},
      {"squares of primes", Each({289, 841, 961, 3721, 7921, 9409, 10201, 12769, 17161, 63001, 259081, 1018081})},
      {"two primes nearly equal", Each({899, 3599, 10403, 11663, 19043, 63503, 1022117, 2 * 10403, 4 * 11021})},
      {"cubes of primes and beyond", Each({4913, 29791, 68921, 103823, 148877, 226981, 83521, 923521})},
      {"a power of two, and 1", Each(Powers(8, 20, 1))},
      {"a power of two, less 1", Each(Powers(8, 20, -1))},
      {"millions", Each({1 << 22, 3999971, 2 * 1999993, 4194305, 4100625})},
  };
}

std::vector<Section> Sections() {
  const auto count_of_first = [](Counts n) { return PointsLog(n[0]); };
  return {
      {"FFT", "fft_n log2 fft_n", count_of_first, "fft_n", Product<0>, TransformFamilies()},
      {"IFFT", "fft_n log2 fft_n", count_of_first, "fft_n", Product<0>, TransformFamilies()},
      {"GetWindow",
       "window_n",
       Product<0>,
       "window_n",
       Product<0>,
       {{"customary", {{400, 1}, {2048, 2}}}, {"long", {{1 << 20, 1}, {1000003, 2}}}}},
      {"GetSpectrogram",
       "frames * fft_n log2 fft_n",
       SpectrogramOperations,
       "fft_n + win_n",
       [](Counts n) { return n[1] + n[3]; },
       {{"customary",
         {{160000, 400, 160, 400, 1, 1001, 1, 0.0f, 0},
          {160000, 512, 128, 512, 1, 1001, 1, 2.0f, 0},
          {160000, 2048, 512, 2048, 1, 301, 1, 2.0f, 0}}},
        {"hop_n 0", {{160000, 512, 0, 512, 1, 1000, 1, 0.0f, 0}, {160000, 4093, 0, 4093, 1, 100, 1, 2.0f, 0}}},
        {"hop_n 1", {{4000, 400, 1, 400, 1, 4001, 1, 2.0f, 0}, {2048, 2048, 1, 2048, 1, 2049, 1, 0.0f, 0}}},
        {"hop_n above fft_n",
         {{600000, 400, 6000, 400, 1, 101, 1, 0.0f, 0}, {600000, 510, 9999, 510, 1, 61, 2, 0.0f, 0}}},
        {"prime fft_n",
         {{60000, 331, 100, 331, 1, 601, 1, 0.0f, 0},
          {60000, 509, 100, 509, 1, 601, 1, 0.0f, 0},
          {60000, 2053, 500, 2053, 1, 121, 1, 0.0f, 0},
          {90000, 4093, 1000, 4093, 1, 91, 1, 0.0f, 0},
          {90000, 16411, 4000, 16411, 1, 23, 1, 0.0f, 0},
          {200000, 65537, 9000, 65537, 1, 23, 1, 0.0f, 0}}},
        {"2 * prime",
         {{60000, 514, 100, 514, 1, 601, 1, 0.0f, 0},
          {60000, 1018, 100, 1018, 1, 601, 1, 0.0f, 0},
          {60000, 4106, 500, 4106, 1, 121, 1, 0.0f, 0},
          {90000, 16418, 1000, 16418, 1, 91, 1, 0.0f, 0}}},
        {"a power of two, and 1",
         {{60000, 257, 100, 257, 1, 601, 1, 0.0f, 0},
          {60000, 1025, 100, 1025, 1, 601, 1, 0.0f, 0},
          {60000, 4097, 500, 4097, 1, 121, 1, 0.0f, 0},
          {90000, 32769, 900, 32769, 1, 101, 1, 0.0f, 0}}},
        {"one to five frames",
         {{512, 512, 512, 512, 1, 1, 0, 0.0f, 0},
          {2048, 512, 512, 512, 1, 3, 0, 0.0f, 0},
          {4096, 512, 512, 512, 1, 5, 0, 2.0f, 0},
          {9000, 2048, 512, 2048, 1, 5, 0, 0.0f, 0}}},
        {"one frame of millions",
         {{1 << 20, 1 << 20, 1, 9, 1, 1, 0, 0.0f, 0},
          {1 << 22, 1 << 22, 1, 9, 1, 1, 0, 2.0f, 0},
          {3000000, 3000000, 1, 9, 1, 1, 0, 0.0f, 0}}},
        {"win_n 1", {{160000, 2048, 512, 1, 1, 301, 1, 0.0f, 0}}},
        {"any power", {{160000, 400, 160, 400, 1, 1001, 1, 0.7f, 0}}},
        {"long rows", {{2048, 2048, 512, 2048, 1, 8000, 1, 0.0f, 0}, {5120, 1024, 1024, 1024, 1, 8000, 0, 0.0f, 0}}},
        {"large results",
         {{1600000, 400, 160, 400, 1, 10001, 1, 0.0f, 0}, {1600000, 65536, 16384, 65536, 1, 90, 1, 0.0f, 0}}},
        {"NaN in each frame",
         {{160000, 400, 160, 400, 1, 1001, 1, 2.0f, 0}},
         [](const CallArrays& arrays, const Scalars& scalars) { PutNans(arrays, scalars); }}}},
      {"GetInverseSpectrogram",
       "frame_n * fft_n log2 fft_n + samples",
       InverseOperations,
       "fft_n + win_n",
       [](Counts n) { return 2.0 * n[1] - 2.0 + n[3]; },
       {{"customary",
         {{1001, 201, 160, 400, 1, 160000, 1, 0},
          {1001, 257, 128, 512, 1, 160000, 1, 0},
          {301, 1025, 512, 2048, 1, 153600, 1, 0}}},
        {"hop_n 0", {{1000, 257, 0, 512, 1, 160000, 1, 0}}},
        {"hop_n 1", {{4000, 201, 1, 400, 1, 160000, 1, 0}, {2000, 1025, 1, 2048, 1, 160000, 1, 0}}},
        {"hop_n fft_n / 255, few frames",
         {{4, 501, 4, 1000, 1, 160000, 0, 0},
          {16, 501, 4, 1000, 1, 160000, 1, 0},
          {4, 2041, 16, 4080, 1, 160000, 0, 0},
          {5, 4081, 32, 8160, 1, 160000, 0, 0},
          {64, 2041, 16, 4080, 1, 160000, 0, 0}}},
        {"hop_n fft_n / 16, few frames", {{4, 513, 64, 1024, 1, 160000, 0, 0}, {5, 2049, 256, 4096, 1, 160000, 0, 0}}},
        {"hop_n above fft_n",
         {{60, 201, 6000, 400, 1, 600000, 0, 0},
          {3, 201, 1000000, 400, 1, 2000400, 0, 0},
          {9, 201, 100000, 400, 1, 2000400, 0, 0}}},
        {"2 * prime",
         {{600, 258, 100, 514, 1, 160000, 1, 0},
          {120, 2054, 500, 4106, 1, 160000, 1, 0},
          {60, 8210, 500, 16418, 1, 160000, 1, 0}}},
        {"4 * prime",
         {{120, 2 * 2053 + 1, 500, 8212, 1, 160000, 1, 0}, {20, 2 * 32771 + 1, 500, 131084, 1, 160000, 1, 0}}},
        {"one to five frames",
         {{1, 257, 128, 512, 1, 160000, 0, 0},
          {3, 257, 128, 512, 1, 160000, 0, 0},
          {5, 257, 128, 512, 1, 160000, 0, 0}}},
        {"one frame of millions",
         {{1, (1 << 19) + 1, 1, 1 << 20, 1, 1 << 20, 0, 0}, {1, (1 << 21) + 1, 1, 9, 1, 1 << 22, 0, 0}}},
        {"few samples wanted", {{1001, 201, 160, 400, 1, 1, 1, 0}}}}},
      {"GetNonSilentPos",
       "(sample_n / hop_n + 1) * win_n + sample_n",
       SilenceOperations,
       nullptr,
       nullptr,
       {{"customary", {{160000, 400, 160, 30.0f}, {160000, 2048, 512, 30.0f}}},
        {"hop_n 1", {{160000, 40, 1, 30.0f}, {20000, 1000, 1, 30.0f}}},
        {"win_n sample_n", {{160000, 160000, 1600, 30.0f}, {2000, 2000, 1, 30.0f}, {160000, 160000, 159999, 30.0f}}},
        {"win_n 1", {{160000, 1, 1, 30.0f}, {160000, 1, 160, 30.0f}}},
        {"hop_n above win_n",
         {{4000000, 40, 4000, 30.0f}, {16000000, 40, 70000, 30.0f}, {4000000, 400, 2147483647, 30.0f}}},
        {"thr_db 0", {{160000, 400, 160, 0.0f}}}}},
      {"GetFBMatrix",
       "mel_n * freq_n",
       Product<0, 3>,
       "mel_n * freq_n",
       Product<0, 3>,
       {{"customary", {{201, 0.0f, 8000.0f, 80, 16000, 1, 0}, {1025, 0.0f, 8000.0f, 128, 16000, 1, 1}}},
        {"a band a bin", {{1025, 0.0f, 8000.0f, 1024, 16000, 1, 0}, {3001, 0.0f, 8000.0f, 3000, 16000, 1, 1}}},
        {"one band", {{1000001, 0.0f, 8000.0f, 1, 16000, 1, 1}}},
        {"f_max infinite", {{1025, 0.0f, std::numeric_limits<float>::infinity(), 128, 16000, 1, 0}}},
        {"bands above the last bin", {{1025, 0.0f, 1e9f, 128, 16000, 1, 0}}}}},
      {"GetMelSpectrogram",
       "frames * fft_n log2 fft_n",
       MelOperations,
       "fft_n + win_n + mel_n * fft_n / 2",
       [](Counts n) { return n[2] + n[4] + n[12] * n[2] / 2.0; },
       {{"customary",
         {{160000, 16000, 400, 160, 400, 1, 1001, 1, 2.0f, 0, 0.0f, 8000.0f, 80, 1, 0},
          {160000, 16000, 512, 128, 512, 1, 1251, 1, 2.0f, 0, 0.0f, 8000.0f, 64, 1, 1},
          {160000, 22050, 2048, 512, 2048, 1, 313, 1, 2.0f, 0, 0.0f, 8000.0f, 128, 1, 0}}},
        {"a band a bin",
         {{160000, 16000, 416, 160, 400, 1, 1001, 1, 2.0f, 0, 0.0f, 8000.0f, 201, 1, 0},
          {160000, 16000, 2048, 512, 2048, 1, 313, 1, 2.0f, 0, 0.0f, 8000.0f, 1023, 1, 1},
          {160000, 16000, 4096, 512, 2048, 1, 313, 1, 2.0f, 0, 0.0f, 8000.0f, 2047, 1, 1}}},
        {"thousands of bands, one frame", {{8192, 16000, 8192, 1, 8192, 1, 1, 0, 2.0f, 0, 0.0f, 8000.0f, 4095, 1, 1}}},
        {"hop_n 0", {{160000, 16000, 432, 0, 400, 1, 1001, 1, 2.0f, 0, 0.0f, 8000.0f, 80, 1, 0}}},
        {"prime fft_n",
         {{60000, 16000, 509, 100, 509, 1, 601, 1, 2.0f, 0, 0.0f, 8000.0f, 80, 1, 0},
          {60000, 16000, 2053, 500, 2053, 1, 121, 1, 2.0f, 0, 0.0f, 8000.0f, 80, 1, 0}}},
        {"bands above the last bin", {{160000, 16000, 2048, 512, 2048, 1, 313, 1, 2.0f, 0, 0.0f, 1e9f, 127, 1, 0}}},
        {"f_max infinite",
         {{160000, 16000, 448, 160, 400, 1, 1001, 1, 2.0f, 0, 0.0f, std::numeric_limits<float>::infinity(), 80, 1, 0},
          {160000, 16000, 2048, 512, 2048, 1, 313, 1, 2.0f, 0, 0.0f, std::numeric_limits<float>::infinity(), 128, 1,
           0}}},
        {"sample_rate 1 and huge",
         {{160000, 1, 2048, 512, 2048, 1, 313, 1, 2.0f, 0, 0.0f, 8000.0f, 126, 1, 0},
          {160000, 2147483647, 2048, 512, 2048, 1, 313, 1, 2.0f, 0, 0.0f, 8000.0f, 126, 1, 0}}},
        {"any power", {{160000, 16000, 480, 160, 400, 1, 1001, 1, 0.7f, 0, 0.0f, 8000.0f, 80, 1, 0}}},
        {"NaN in each frame",
         {{160000, 16000, 400, 160, 400, 1, 1001, 1, 2.0f, 0, 0.0f, 8000.0f, 80, 1, 0},
          {160000, 16000, 2048, 512, 2048, 1, 313, 1, 2.0f, 0, 0.0f, 8000.0f, 128, 1, 0},
          {160000, 16000, 2048, 512, 2048, 1, 313, 1, 2.0f, 0, 0.0f, 8000.0f, 1023, 1, 1}},
         [](const CallArrays& arrays, const Scalars& scalars) { PutNans(arrays, scalars); }}}},
      {"ConvertToMel",
       "mel_n * freq_n * frame_n",
       Product<0, 1, 2>,
       nullptr,
       nullptr,
       {{"any weights", {{201, 1000, 80}, {1025, 100, 128}}},
        {"mel bank", {{201, 1000, 80}, {1025, 100, 128}, {1025, 100, 1024}}, FillBank},
        {"mel bank, NaN", {{201, 1000, 80}, {1025, 100, 128}}, FillBankPutNans},
        {"one frame", {{201, 1, 80}, {1025, 1, 128}, {1025, 3, 1024}}}}},
      {"LinerFilter",
       "(samples + 1) * max(n_coef_n, d_coef_n)",
       LinerFilterOperations,
       nullptr,
       nullptr,
       {{"customary, settles soon",
         {{160000, 160000, 3, 3, 2}, {160000, 160000, 5, 5, 4}, {160000, 160000, 17, 17, 16}},
         SettleSoon},
        {"without feedback",
         {{160000, 160000, 2, 1, 1},
          {160000, 160000, 31, 1, 30},
          {160000, 160000, 512, 1, 511},
          {20000, 20000, 5001, 1, 0},
          {20000, 20000, 4999, 1, 0}},
         SettleSoon},
        {"settles late",
         {{160000, 160000, 2, 2, 1},
          {160000, 160000, 3, 3, 2},
          {160000, 160000, 9, 9, 8},
          {160000, 160000, 18, 18, 17},
          {160000, 160000, 100, 100, 99}},
         SettleLate},
        {"high order",
         {{20000, 20000, 2000, 2000, 1999}, {200, 200, 100000, 2, 3}, {1, 1, 1000000, 1000000, 0}},
         SettleLate},
        {"fades into silence",
         {{160000, 160000, 2, 2, 1},
          {160000, 160000, 3, 3, 2},
          {160000, 160000, 5, 5, 4},
          {160000, 160000, 9, 9, 8},
          {160000, 160000, 33, 33, 32}},
         FadeOut},
        {"NaN", {{160000, 160000, 3, 3, 2}, {160000, 160000, 9, 9, 8}, {160000, 160000, 31, 1, 30}}, Overflow}}},
      {"GetLinerFilterZiCoef",
       "dst_n + n_coef_n + d_coef_n",
       [](Counts n) { return n[0] + n[1] + n[2]; },
       nullptr,
       nullptr,
       {{"customary", {{16, 17, 17}}},
        {"high order", {{1000000, 1000000, 1000000}, {1, 1, 1000000}, {1000000, 1, 1}}}}},
      {"FilterFilter",
       "2 * (src_n + 2 * pad_len + 1) * max(n_coef_n, d_coef_n)",
       FilterFilterOperations,
       nullptr,
       nullptr,
       {{"customary", {{160000, 160000, 3, 3, 1, 9}, {160000, 160000, 9, 9, 1, 27}}, SettleSoon},
        {"long padding",
         {{160000, 160000, 3, 3, 1, 159999}, {1, 1, 3, 3, 3, 300000}, {9, 9, 3, 1, 3, 300000}},
         SettleSoon},
        {"settles late", {{160000, 160000, 3, 3, 1, 9}, {160000, 160000, 17, 17, 1, 27}}, SettleLate},
        {"high order", {{2000, 2000, 2000, 2000, 1, 1999}, {20000, 20000, 3000, 1, 1, 9000}}, SettleLate}}},
      {"Resample",
       "65 * dst_n + src_n",
       [](Counts n) { return 65.0 * n[1] + n[3]; },
       "65 * dst_sample_rate in lowest terms",
       [](Counts n) { return 65.0 * n[0]; },
       {{"customary",
         {{160, 58050, 441, 160000}, {160, 174150, 147, 160000}, {1, 80000, 2, 160000}, {3, 240000, 1, 80000}}},
        {"coprime, thousands",
         {{16001, 160010, 16000, 160000}, {44101, 160000, 48001, 174150}, {47999, 160000, 7, 24}}},
        {"coprime, hundreds of thousands", {{300007, 300007, 300023, 300023}, {300017, 600000, 300007, 600000}}},
        {"dst_sample_rate far below", {{1, 1600, 1000, 1600000}, {1, 16, 100003, 1600000}, {3, 4800, 1000, 1600000}}},
        {"src_sample_rate far below", {{1000, 1600000, 1, 1600}, {100003, 1600000, 1, 16}}},
        {"dst_n beyond the end", {{1, 4000000, 2, 160000}}}}},
      {"Log1p", "src_n", Product<0>, nullptr, nullptr, {{"customary", {{80000}}}, {"long", {{8000000}}}}},
      {"Standardize", "src_n", Product<0>, nullptr, nullptr, {{"customary", {{80000}}}, {"long", {{8000000}}}}},
      {"ConvertPowerToDB",
       "src_n",
       Product<0>,
       nullptr,
       nullptr,
       {{"customary", {{80000, 80.0f}}}, {"long", {{8000000, -1.0f}}}, {"NaN", {{80000, 80.0f}}, PutNans}}},
      {"ComplexNorm",
       "src_n",
       Product<0>,
       nullptr,
       nullptr,
       {{"customary", {{80000, 2.0f}, {80000, 1.0f}}},
        {"normal results", {{80000, 0.7f}, {80000, 1e-30f}, {80000, 3.0f}}},
        {"results that are no normal floats", {{8000, 64.0f}, {8000, 100.0f}, {8000, 1e30f}}},
        {"powers above 128", {{8000, 130.0f}, {8000, 1000.0f}}}}},
      {"MagPhase",
       "freq_n * frame_n",
       Product<0, 1>,
       nullptr,
       nullptr,
       {{"customary", {{201, 400, 1.0f, 0}, {201, 400, 1.0f, 1}}},
        {"any power", {{201, 400, 0.7f, 1}}},
        {"one column", {{80000, 1, 1.0f, 1}}}}},
      {"FixFrameLen",
       "freq_n * dst_frame_n",
       Product<0, 1>,
       nullptr,
       nullptr,
       {{"customary", {{80, 1000, 900, 0.0f}, {80, 1000, 1100, 0.0f}}},
        {"one column", {{80000, 1, 1, 0.0f}, {8000, 1, 1000, 0.0f}, {800000, 1, 2, 0.0f}}}}},
  };
}

double Seconds(const std::function<void()>& work) {
  timespec begin, end;
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
  work();
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
  return static_cast<double>(end.tv_sec - begin.tv_sec) + 1e-9 * static_cast<double>(end.tv_nsec - begin.tv_nsec);
}

struct Times {
  double first, warm;
};

Times Measure(CallArrays& arrays, const Export& subject, const Family& family, const Scalars& scalars) {
  if (!arrays.Prepare(subject, scalars)) {
    std::fprintf(stderr, "too large: %s %s\n", subject.name, Reliability::TextOf(scalars).c_str());
    std::exit(EXIT_FAILURE);
  }
  if (family.change != nullptr) family.change(arrays, scalars);
  int status = 0;
  const auto call = [&] { status |= arrays.Call(scalars); };
  Times times{Seconds(call), Seconds(call)};
  // Short calls are timed together, since the clock costs some hundred nanoseconds itself.
  constexpr double kBurst = 1e-4;
  const int call_n = std::max(1, static_cast<int>(kBurst / std::max(times.warm, 1e-8)));
  std::vector<double> bursts;
  for (int i = 0; i < 5; ++i) {
    bursts.push_back(Seconds([&] {
                       for (int c = 0; c < call_n; ++c) call();
                     }) /
                     call_n);
  }
  std::sort(bursts.begin(), bursts.end());
  times.warm = bursts[2];
  if (status != 0) {
    std::fprintf(stderr, "status %d: %s %s\n", status, subject.name, Reliability::TextOf(scalars).c_str());
    std::exit(EXIT_FAILURE);
  }
  return times;
}

std::string TextOf(double seconds) {
  char text[32];
  if (seconds < 1e-3) {
    std::snprintf(text, sizeof(text), "%.3g µs", seconds * 1e6);
  } else if (seconds < 1.0) {
    std::snprintf(text, sizeof(text), "%.3g ms", seconds * 1e3);
  } else {
    std::snprintf(text, sizeof(text), "%.3g s", seconds);
  }
  return text;
}

struct Worst {
  double rate = 0.0;  // nanoseconds an operation
  double seconds = 0.0;
  std::string settings;

  void Include(double now, double operations, const Scalars& scalars) {
    if (now / operations * 1e9 <= rate) return;
    rate = now / operations * 1e9;
    seconds = now;
    settings.clear();
    for (const Reliability::Scalar& scalar : scalars) {
      char text[32];
      std::visit([&](auto value) { std::snprintf(text, sizeof(text), "%.10g", static_cast<double>(value)); }, scalar);
      settings += (settings.empty() ? "" : ", ") + std::string(text);
    }
  }
};

void Run(const char* wanted) {
  CallArrays arrays;
  for (const Section& section : Sections()) {
    if (wanted != nullptr && std::string(wanted) != section.name) continue;
    const Export& subject = Reliability::FindExport(section.name);
    const bool has_tables = section.entries != nullptr;
    std::printf("\n### kelvoAudio%s\n\nOperations: `%s`.%s%s%s\n\n", section.name, section.unit,
                has_tables ? " Entries: `" : "", has_tables ? section.entry_unit : "", has_tables ? "`." : "");
    std::printf("| settings | slowest warm call | time | ns an operation | to customary |%s\n|---|---|---|---|---|%s\n",
                has_tables ? " slowest first call | time | ns an entry |" : "", has_tables ? "---|---|---|" : "");
    // Settings with as many entries as earlier ones mostly have their tables. Of few, other costs of a first call would
    // hide the time.
    constexpr double kLeastEntries = 4000.0;
    std::set<double> built;
    double customary = 0.0;
    for (const Family& family : section.families) {
      Worst warm, first;
      for (const Scalars& scalars : family.settings) {
        const Times times = Measure(arrays, subject, family, scalars);
        warm.Include(times.warm, section.operations({scalars}), scalars);
        if (!has_tables) continue;
        const double entries = section.entries({scalars});
        if (entries >= kLeastEntries && built.insert(entries).second) {
          first.Include(times.first - times.warm, entries, scalars);
        }
      }
      if (customary == 0.0) customary = warm.rate;
      std::printf("| %s | %s | %s | %.3g | %.1f |", family.name, warm.settings.c_str(), TextOf(warm.seconds).c_str(),
                  warm.rate, warm.rate / customary);
      if (has_tables && first.settings.empty()) {
        std::printf(" | | |");
      } else if (has_tables) {
        std::printf(" %s | %s | %.3g |", first.settings.c_str(), TextOf(first.seconds).c_str(), first.rate);
      }
      std::puts("");
      std::fflush(stdout);
    }
  }
}

}  // namespace
}  // namespace kelvo::Bench

int main(int argument_n, char** arguments) { kelvo::Bench::Run(argument_n > 1 ? arguments[1] : nullptr); }
