// The bytes that calls take and keep are within the formulas of docs/bounds.md, and these no more than twice as much.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <string_view>
#include <utility>
#include <vector>

#include "reliability/calls.h"
#include "reliability/failing_new.h"
#include "reliability/level_override.h"
#include "stft/stft_kernels.h"

namespace kelvo::Reliability {
namespace {

constexpr double kKiB = 1024.0, kMiB = 1024.0 * kKiB;

// What does not grow with the settings: rounding to cache lines, the nodes of caches.
constexpr double kFixed = 8.0 * kKiB;

// In bytes, on the heap and on the stack. A call takes scratch memory, which it frees; what it keeps are tables.
struct Bound {
  double takes, keeps;
};

// A call's counts by their place among the scalars.
struct Counts {
  const Scalars& scalars;
  double operator[](std::size_t i) const { return std::get<int>(scalars[i]); }
};

// Bytes a point of a transform: `few`, or `many` if a prime factor above 13 can make it a convolution.
double ForPoints(double point_n, double few, double many) {
  int rest = static_cast<int>(point_n);
  for (const int p : {2, 3, 5, 7, 11, 13}) {
    while (rest % p == 0) rest /= p;
  }
  return point_n * (rest == 1 ? few : many);
}

// A batch has a frame a lane, as far as L2 holds it.
double BatchOf(double frame_n, double bytes_a_lane, double lane_n) {
  return frame_n > 1.0 ? std::min(bytes_a_lane * lane_n, 5.0 * kMiB) : 0.0;
}

double FramesTake(double fft_n, double frame_n, double lane_n) {
  return ForPoints(fft_n, 26.0, 40.0) + BatchOf(frame_n, ForPoints(fft_n, 25.0, 48.0), lane_n);
}

// Columns that wait for a streaming store, where there are enough.
double ColumnsTake(double row_n, double column_n, double width) {
  return column_n * width < 128.0 ? 0.0 : 128.0 * kKiB + 320.0 * row_n;
}

double LinerFilterTakes(double count, double n_coef_n, double d_coef_n) {
  const double longer = std::max(n_coef_n, d_coef_n);
  if (d_coef_n == 1.0) return 40.0 * longer + 16.0 * std::min(count, std::max(4096.0, 8.0 * longer));
  return 24.0 * longer + std::min(4352.0 * longer, 12.0 * count);
}

struct Formula {
  const char* name;
  Bound (*bound)(Counts n, double lane_n);
  std::vector<Scalars> settings;
  bool is_in_place = false;
};

Bound Nothing(Counts, double) { return {0.0, 0.0}; }

const std::vector<Formula>& Formulas() {
  static const std::vector<Formula> formulas{
      {"Log1p", Nothing, {{1}, {300001}}},
      {"Standardize", Nothing, {{1}, {300001}}},
      {"GetFrameLen", Nothing, {{2147483647, 1, 1, 1}}},
      {"GetSampleLen", Nothing, {{2147483647, 2147483647, 1, 0}}},
      {"FixFrameLen", Nothing, {{1025, 3000, 10, 0.0f}, {1025, 10, 3000, 0.0f}}},
      {"ConvertPowerToDB", Nothing, {{1, 80.0f}, {300001, 80.0f}}},
      {"ComplexNorm", Nothing, {{300001, 0.7f}, {300001, 2.0f}}},
      {"MagPhase", Nothing, {{1025, 300, 0.7f, 0}, {1025, 300, 2.0f, 1}}},
      {"GetResampleLen", Nothing, {{2147483647, 2147483647, 1}}},
      {"FFT",
       [](Counts n, double) {
         return Bound{ForPoints(n[0], 26.0, 48.0), ForPoints(n[0], 16.0, 50.0)};
       },
       {{60000}, {131072}, {131073}, {99225}, {120011}, {120022}, {10201}, {10403}, {131071}, {94249}, {1709}, {3458}}},
      {"IFFT",
       [](Counts n, double) {
         return Bound{ForPoints(n[0], 17.0, 50.0), ForPoints(n[0], 15.0, 63.0)};
       },
       {{60000},
        {131072},
        {131073},
        {99225},
        {120011},
        {120022},
        {10201},
        {10403},
        {197260},
        {2305},
        {16384},
        {94249}}},
      {"GetWindow",
       [](Counts n, double) {
         return Bound{0.0, 4.0 * n[0]};
       },
       {{77777, 1}, {777777, 2}}},
      {"GetSpectrogram",
       [](Counts n, double lane_n) {
         return Bound{
             FramesTake(n[1], n[5], lane_n) + ColumnsTake(n[1] / 2.0, n[5], 2.0),
             ForPoints(n[1], 33.0, 76.0) + 4.0 * n[3],
         };
       },
       {{60000, 2000, 500, 1998, 1, 100, 1, 0.0f, 0},
        {60000, 2048, 2048, 1998, 1, 100, 1, 0.0f, 0},
        {60000, 2047, 2047, 1998, 1, 100, 1, 2.0f, 0},
        {60000, 2053, 9999, 1998, 1, 100, 2, 0.0f, 0},
        {90000, 16384, 16384, 16380, 1, 100, 0, 0.0f, 0},
        {90000, 8085, 9000, 8084, 2, 9, 1, 0.0f, 0},
        {90000, 4093, 4093, 4092, 2, 40, 1, 0.0f, 0},
        {90000, 5008, 20000, 5007, 2, 9, 1, 0.0f, 0},
        {90000, 2002, 0, 1, 2, 300, 1, 0.0f, 0},
        {90000, 67500, 1, 60000, 1, 2, 0, 0.0f, 0},
        {90000, 83521, 1, 60001, 1, 2, 0, 0.0f, 0},
        {250000, 246246, 1, 9, 1, 1, 0, 0.0f, 0},
        {250000, 239977, 1, 11, 1, 1, 0, 0.0f, 0},
        {250000, 200002, 1, 13, 1, 1, 0, 0.0f, 0},
        {250000, 65534, 1, 13, 1, 70, 0, 0.0f, 0},
        {350000, 32768, 1000, 13, 1, 300, 0, 0.0f, 0},
        {1200000, 1200000, 1, 13, 1, 1, 0, 0.0f, 0}}},
      {"GetInverseSpectrogram",
       [](Counts n, double lane_n) {
         const double fft_n = 2.0 * n[1] - 2.0;
         const double sample_n = n[2] >= fft_n ? fft_n : std::min(fft_n + (n[0] - 1.0) * n[2], fft_n + n[5]);
         return Bound{
             ForPoints(fft_n, 24.0, 32.0) + 8.0 * sample_n + BatchOf(n[0], ForPoints(fft_n, 20.0, 36.0), lane_n),
             ForPoints(fft_n, 19.0, 50.0) + 4.0 * n[3],
         };
       },
       {{40, 1003, 501, 1996, 1, 99999, 1, 0},
        {40, 1010, 2018, 1996, 1, 99999, 1, 0},
        {40, 8194, 16386, 1994, 1, 999999, 0, 0},
        {40, 7084, 14166, 1994, 1, 999999, 0, 0},
        {40, 8192, 16386, 1994, 1, 999999, 0, 0},
        {9, 2049, 0, 1994, 1, 999999, 0, 0},
        {9, 2060, 1, 1994, 1, 999999, 0, 0},
        {3, 2080, 1000000, 1994, 1, 9999999, 0, 0},
        {1, 75001, 1, 1994, 1, 9999999, 0, 0},
        {1, 100004, 1, 1994, 1, 9999999, 0, 0},
        {2, 80002, 80000, 1994, 1, 100, 1, 0}}},
      {"GetNonSilentPos",
       [](Counts n, double) {
         return Bound{8.0 * (n[0] / n[2] + 2.0) + 4.0 * n[1] + 4.0 * std::max(n[1], 65536.0), 0.0};
       },
       {{300000, 16, 1, 30.0f},
        {300000, 16, 2000, 30.0f},
        {300000, 64, 65535, 30.0f},
        {300000, 290000, 65536, 30.0f},
        {300000, 290000, 30000, 30.0f},
        {9000, 9000, 500, 30.0f}}},
      {"GetFBMatrix",
       [](Counts n, double) {
         return Bound{0.0, 4.0 * n[3] * (n[0] + 5.0)};
       },
       {{1111, 0.0f, 8000.0f, 80, 16000, 1, 0},
        {1111, 0.0f, 8000.0f, 1110, 16000, 1, 1},
        {2, 0.0f, 8000.0f, 1, 16001, 1, 1},
        {111111, 0.0f, 8000.0f, 7, 16000, 1, 1}}},
      {"GetMelSpectrogram",
       [](Counts n, double lane_n) {
         return Bound{
             FramesTake(n[2], n[6], lane_n) + 2.0 * n[2] + (n[6] > 1.0 ? 400.0 * kKiB : 0.0) +
                 ColumnsTake(n[12], n[6], 1.0),
             ForPoints(n[2], 33.0, 76.0) + 4.0 * n[4] + 4.0 * n[12] * (n[2] / 2.0 + 6.0),
         };
       },
       {{60000, 16000, 1008, 100, 1006, 1, 600, 1, 2.0f, 0, 0.0f, 8000.0f, 80, 1, 0},
        {60000, 16000, 2056, 3000, 1006, 1, 600, 1, 2.0f, 0, 0.0f, 8000.0f, 1028, 1, 0},
        {60000, 16000, 16380, 16380, 1006, 1, 600, 1, 2.0f, 0, 0.0f, 8000.0f, 9, 1, 0},
        {60000, 16000, 16411, 16411, 1006, 1, 600, 1, 2.0f, 0, 0.0f, 8000.0f, 9, 1, 0},
        {60000, 16000, 16384, 400, 1006, 1, 600, 1, 2.0f, 0, 0.0f, 8000.0f, 9, 1, 0},
        {60000, 16000, 4199, 16411, 1006, 1, 600, 1, 2.0f, 0, 0.0f, 8000.0f, 9, 1, 0},
        {260000, 16000, 230022, 1, 1, 1, 1, 1, 2.0f, 0, 0.0f, 8000.0f, 1, 1, 0},
        {260000, 16000, 239977, 1, 1, 1, 1, 1, 2.0f, 0, 0.0f, 8000.0f, 1, 1, 0},
        {160000, 16000, 17, 1, 17, 1, 160001, 1, 2.0f, 0, 0.0f, 8000.0f, 8, 1, 0}}},
      {"ConvertToMel",
       [](Counts n, double) {
         return Bound{16.0 * n[2], 0.0};
       },
       {{201, 90, 80}, {4001, 3, 4000}}},
      {"LinerFilter",
       [](Counts n, double) {
         return Bound{LinerFilterTakes(std::min(n[0], n[1]), n[2], n[3]), 0.0};
       },
       {{300000, 300000, 3, 3, 2},
        {60000, 60000, 100, 100, 99},
        {50000, 50000, 124, 2, 124},
        {300000, 9, 9000, 9000, 8999},
        {9, 300000, 1, 90000, 3},
        {9000, 9000, 2000, 1, 0},
        {300000, 300000, 3, 1, 0},
        {60000, 60000, 700, 1, 0},
        {300000, 100, 9000, 1, 0}}},
      {"LinerFilter",
       [](Counts n, double) {
         return Bound{LinerFilterTakes(std::min(n[0], n[1]), n[2], n[3]) + 64.0 * kKiB, 0.0};
       },
       {{300000, 300000, 3, 3, 2}, {60000, 60000, 300, 1, 0}, {20000, 30000, 17, 17, 0}},
       true},
      {"GetLinerFilterZiCoef",
       [](Counts n, double) {
         return Bound{16.0 * std::max(n[1], n[2]), 0.0};
       },
       {{1, 1, 90000}, {90000, 1, 1}, {90000, 90000, 1}}},
      {"FilterFilter",
       [](Counts n, double) {
         const double result_n = n[1] + n[5];
         return Bound{
             16.0 * std::max(n[2], n[3]) + 8.0 * result_n + 4.0 * std::max(n[5], result_n - n[0]) +
                 LinerFilterTakes(result_n, n[2], n[3]),
             0.0,
         };
       },
       {{300000, 300000, 3, 3, 1, 9},
        {50000, 50000, 100, 100, 0, 0},
        {30000, 30000, 300, 1, 2, 2100},
        {1, 100, 3, 3, 3, 300000},
        {1, 300000, 3, 3, 1, 299999},
        {90, 90, 9000, 9000, 2, 3},
        {90, 90, 90000, 1, 2, 3}}},
      {"Resample",
       [](Counts n, double) {
         return Bound{420.0 * kKiB, 528.0 * n[0] / std::gcd(static_cast<int>(n[0]), static_cast<int>(n[2]))};
       },
       {{16001, 16000, 44101, 44101},
        {48001, 480010, 7, 70},
        {3, 300000, 1000003, 3000000},
        {1000, 250000, 3999, 1000000},
        {1000, 250000, 4001, 1000000},
        {1999, 500000, 2, 5000}}},
      {"Resample",
       [](Counts n, double) {
         return Bound{420.0 * kKiB + 4.0 * n[3], 528.0 * n[0]};
       },
       {{1501, 100000, 3001, 900000}},
       true},
  };
  return formulas;
}

struct Bytes {
  std::size_t peak, kept;
};

Bytes Measure(const CallArrays& arrays, const Export& subject, const Scalars& scalars, bool is_in_place) {
  std::vector<void*> pointers(arrays.Pointers().begin(), arrays.Pointers().end());
  if (is_in_place) pointers[0] = pointers[1];
  const MemoryMeter meter;
  EXPECT_EQ(subject.call(pointers, scalars), 0) << TextOf(scalars);
  return {meter.PeakBytes(), meter.LiveBytes()};
}

// The formulas hold on every level, and for some setting each is not more than twice what it bounds.
TEST(MemoryBounds, AreThoseOfTheFormulas) {
  CallArrays arrays;
  for (const Formula& formula : Formulas()) {
    const Export& subject = FindExport(formula.name);
    double most_taken = 0.0, most_kept = 0.0;
    Bound largest{0.0, 0.0};
    for (const Scalars& scalars : formula.settings) {
      ASSERT_TRUE(arrays.Prepare(subject, scalars)) << formula.name << " " << TextOf(scalars);
      bool is_first = true;
      for (const Simd::Level level : Simd::SupportedLevels()) {
        SCOPED_TRACE(testing::Message() << formula.name << " " << TextOf(scalars) << Simd::LevelName(level));
        const LevelOverride use(level);
        const double lane_n = static_cast<double>(Simd::KernelsFor<Stft::StftKernels>(level).lane_n);
        const Bound bound = formula.bound({scalars}, lane_n);
        largest = {std::max(largest.takes, bound.takes), std::max(largest.keeps, bound.keeps)};
        const double takes = bound.takes > 0.0 ? bound.takes + kFixed : 0.0;
        const double keeps = bound.keeps > 0.0 ? bound.keeps + kFixed : 0.0;
        if (std::exchange(is_first, false)) {
          const Bytes first = Measure(arrays, subject, scalars, formula.is_in_place);
          EXPECT_LE(first.peak, takes + keeps);
          EXPECT_LE(first.kept, keeps);
          if (keeps > 0.0) most_kept = std::max(most_kept, static_cast<double>(first.kept) / keeps);
        }
        const Bytes later = Measure(arrays, subject, scalars, formula.is_in_place);
        EXPECT_LE(later.peak, takes);
        EXPECT_EQ(later.kept, 0u);
        if (takes > 0.0) most_taken = std::max(most_taken, static_cast<double>(later.peak) / takes);
      }
    }
    std::printf("%-22s takes up to %3.0f %%, keeps up to %3.0f %% of its formula in %zu settings\n", formula.name,
                100.0 * most_taken, 100.0 * most_kept, formula.settings.size());
    EXPECT_TRUE(largest.takes == 0.0 || most_taken >= 0.5) << formula.name;
    EXPECT_TRUE(largest.keeps == 0.0 || most_kept >= 0.5) << formula.name;
  }
}

TEST(MemoryBounds, AreThereForEachExport) {
  for (const Export& subject : Exports()) {
    const auto is_its = [&](const Formula& formula) { return std::string_view(formula.name) == subject.name; };
    EXPECT_TRUE(std::any_of(Formulas().begin(), Formulas().end(), is_its)) << subject.name;
  }
}

}  // namespace
}  // namespace kelvo::Reliability
