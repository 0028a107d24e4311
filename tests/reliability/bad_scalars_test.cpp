// Scalars at every boundary, in pairs and all at once, with arrays of exactly the documented length.
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/resource.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <numeric>
#include <random>

#include "reliability/calls.h"
#include "reliability/failing_new.h"
#include "reliability/sanitizers.h"
#if !defined(_WIN32)
#include "reliability/child.h"
#endif

namespace kelvo::Reliability {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

const std::vector<Scalar>& BoundaryValues(const Scalar& like) {
  static const std::vector<Scalar> ints{
      INT_MIN,       -1,      0,       1,      2, 46340, 46341, 46349, 65535, 65536, 65537, (1 << 24) - 1, 1 << 24,
      (1 << 24) + 1, 1 << 28, 1 << 30, INT_MAX};
  static const std::vector<Scalar> floats{NAN,
                                          kInfinity,
                                          -kInfinity,
                                          0.0f,
                                          -0.0f,
                                          1e-45f,
                                          std::nextafter(1e-10f, 0.0f),
                                          1e-10f,
                                          std::nextafter(1e-10f, 1.0f),
                                          -1.0f,
                                          1.0f,
                                          2.0f,
                                          1e9f,
                                          FLT_MAX,
                                          -FLT_MAX};
  return std::holds_alternative<int>(like) ? ints : floats;
}

// The limit on one allocation: a machine whose memory is nearly exhausted, the same in every run.
constexpr std::size_t kMaxBytes = std::size_t{1} << 28;

class BadScalars : public testing::TestWithParam<Export> {
 protected:
  // Makes the call unless it would take more operations than `budget`.
  void CallWith(const Scalars& scalars, double budget) {
    const Export& subject = GetParam();
    const Extent extent = subject.extent(scalars);
    const double array_n = std::accumulate(extent.lengths.begin(), extent.lengths.end(), 0.0);
    if (extent.operations + array_n > budget || !arrays_.Prepare(subject, scalars, {call_n_ % 2 == 0})) return;
    const AllocationFailures failures(0, 0, kMaxBytes);
    arrays_.CheckedCall(scalars);
    ++call_n_;
  }

  CallArrays arrays_;
  long call_n_ = 0;
};

TEST_P(BadScalars, GiveADocumentedStatus) {
  constexpr double kMaxOperationsAlone = 2e7;
  constexpr double kMaxOperationsInPairs = 1e5;
  constexpr int kMixtureN = 3000;
  const Export& subject = GetParam();
  for (const Scalars& setting : subject.settings) {
    for (std::size_t i = 0; i < setting.size(); ++i) {
      Scalars scalars = setting;
      for (const Scalar& first : BoundaryValues(setting[i])) {
        scalars[i] = first;
        CallWith(scalars, kMaxOperationsAlone);
        for (std::size_t j = i + 1; j < setting.size(); ++j) {
          for (const Scalar& second : BoundaryValues(setting[j])) {
            scalars[j] = second;
            CallWith(scalars, kMaxOperationsInPairs);
          }
          scalars[j] = setting[j];
        }
      }
    }
  }
  std::mt19937 random(1);
  for (int k = 0; k < kMixtureN; ++k) {
    Scalars scalars = subject.settings[random() % subject.settings.size()];
    for (Scalar& scalar : scalars) {
      const auto& values = BoundaryValues(scalar);
      if (random() % 2 == 0) scalar = values[random() % values.size()];
    }
    CallWith(scalars, kMaxOperationsInPairs);
  }
  std::cout << call_n_ << " calls\n";

  // Valid calls still succeed afterwards.
  for (const Scalars& setting : subject.settings) {
    ASSERT_TRUE(arrays_.Prepare(subject, setting));
    EXPECT_EQ(arrays_.Call(setting), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, BadScalars, testing::ValuesIn(Exports()), NameOf);

// Sizes beyond any memory. The arrays are not accessed, so small ones suffice.
struct Impossible {
  const char* name;
  Scalars scalars;
  int status;
};

const Impossible kImpossible[]{
    {"FFT", {1 << 28}, -128},
    {"FFT", {1 << 29}, -128},
    {"FFT", {1 << 30}, -128},
    {"FFT", {(1 << 30) + 1}, -128},
    {"FFT", {INT_MAX}, -128},
    {"IFFT", {1 << 28}, -128},
    {"IFFT", {(1 << 30) + 1}, -128},
    {"IFFT", {INT_MAX}, -128},
    // Just below the limits the sizes are possible, and memory is what is lacking.
    {"FFT", {1 << 27}, -5},
    {"FFT", {3 << 27}, -5},
    {"IFFT", {1 << 27}, -5},
    {"GetWindow", {INT_MAX, 1}, -5},
    {"GetSpectrogram", {1, 1 << 28, 1, 1, 1, 1, 1, 0.0f, 0}, -128},
    {"GetSpectrogram", {INT_MAX, 1 << 30, 1, 1, 1, 1, 1, 0.0f, 0}, -128},
    {"GetSpectrogram", {INT_MAX, 1 << 27, 1, 1, 1, 1, 1, 0.0f, 0}, -5},
    {"GetMelSpectrogram", {1, 1, 1 << 28, 1, 1, 1, 1, 0, 2.0f, 0, 0.0f, 1.0f, 1, 0, 0}, -128},
    {"GetMelSpectrogram", {1, 1, INT_MAX, 1, 1, 1, 1, 0, 2.0f, 0, 0.0f, 1.0f, 1, 0, 0}, -128},
    // Transforms of 2^28 to 2^30, 2^31 - 2, of a length that wraps around, of length 0, and shorter than the window.
    {"GetInverseSpectrogram", {1, (1 << 27) + 1, 1, 1, 1, 1, 0, 0}, -128},
    {"GetInverseSpectrogram", {1, (1 << 28) + 1, 1, 1, 1, 1, 0, 0}, -128},
    {"GetInverseSpectrogram", {1, (1 << 29) + 1, 1, 1, 1, 1, 0, 0}, -128},
    {"GetInverseSpectrogram", {1, 1 << 30, 1, 1, 1, 1, 0, 0}, -128},
    {"GetInverseSpectrogram", {1, (1 << 30) + 1, 1, 1, 1, 1, 0, 0}, -1},
    {"GetInverseSpectrogram", {1, INT_MAX, 1, 1, 1, 1, 0, 0}, -1},
    {"GetInverseSpectrogram", {1, 1, 1, 1, 1, 4, 0, 0}, -1},
    {"GetInverseSpectrogram", {1, 3, 1, 5, 1, 4, 0, 0}, -1},
    {"GetInverseSpectrogram", {1, (1 << 28) + 1, 1, INT_MAX, 1, 1, 0, 0}, -128},
    // Signals of 2^32 + 2 samples, which wrap around to 2, and of 2^31.
    {"GetInverseSpectrogram", {65537, 2, 65536, 2, 1, 1, 0, 0}, -128},
    {"GetInverseSpectrogram", {3, 2, (1 << 30) - 1, 2, 1, 1, 0, 0}, -128},
    {"GetInverseSpectrogram", {2, 2, INT_MAX - 1, 2, 1, 1, 0, 0}, -128},
    {"GetInverseSpectrogram", {INT_MAX, 2, INT_MAX, 2, 1, 1, 1, 0}, -128},
    // Without a frame there is nothing to do and no table to build, at any length of the transform.
    {"GetSpectrogram", {600, 601, 16, 599, 1, 40, 0, 0.0f, 1}, 0},
    {"GetSpectrogram", {600, 1 << 27, 16, 599, 1, 40, 0, 0.0f, 1}, 0},
    {"GetMelSpectrogram", {600, 16000, 601, 16, 599, 1, 40, 0, 2.0f, 1, 0.0f, 8000.0f, 8, 1, 0}, 0},
    {"GetMelSpectrogram", {600, 16000, 1 << 27, 16, 599, 1, 40, 0, 2.0f, 1, 0.0f, 8000.0f, 8, 1, 0}, 0},
    {"GetNonSilentPos", {100, 10, 0, 3.0f}, -5},
    {"GetFBMatrix", {INT_MAX, 0.0f, 1.0f, INT_MAX - 1, 1, 0, 0}, -5},
    {"FilterFilter", {1, 1, 1, 1, 3, 1 << 30}, -128},
    {"FilterFilter", {1, 1, 1, 1, 3, INT_MAX}, -128},
    {"FilterFilter", {1, 1, 1, 1, 3, (1 << 30) - 1}, -5},
    {"Resample", {INT_MAX, 1, 1, 2}, -5},
    {"Resample", {INT_MAX, 1, INT_MAX - 1, 2}, -5},
    // Counts that would wrap around in 32 bits: 65 taps of each of 66076420 phases to 4, three padded samples to 1.
    {"Resample", {66076420, 100, 1, 10}, -5},
    {"FilterFilter", {3, 3, 1, 1, 3, INT_MAX}, -128},
};

// The fault after the call of a row, or null.
const char* FaultOf(const Impossible& row, CallArrays& arrays) {
  const Export& subject = FindExport(row.name);
  if (!arrays.Prepare(subject, subject.settings.front())) return "no memory for the arrays";
  const long live = LiveAllocations();
  if (arrays.Call(row.scalars) != row.status) return "another status";
  if (LiveAllocations() != live) return "something entered a cache";
  return arrays.AreOutputsIntact() ? nullptr : "outputs are changed";
}

TEST(ImpossibleSizes, FailWithoutSideEffects) {
  CallArrays arrays;
  for (const Impossible& row : kImpossible) {
    const AllocationFailures failures(0, 0, kMaxBytes);
    EXPECT_EQ(FaultOf(row, arrays), nullptr) << row.name << " with " << TextOf(row.scalars);
  }
}

#if !defined(_WIN32)
// In bytes.
std::size_t AddressSpaceInUse() {
  std::size_t page_n = 0;
  std::ifstream("/proc/self/statm") >> page_n;
  return page_n * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

// The system itself refuses memory; in a process of its own.
TEST(ImpossibleSizes, FailWithoutSideEffectsWhereTheAddressSpaceIsExhausted) {
  if (kIsSanitized || KELVO_IS_EMULATED) GTEST_SKIP() << "shadow memory needs address space, emulators do not limit it";
  constexpr std::size_t kRowN = std::size(kImpossible);
  SharedArray<const char*> faults(kRowN);
  const auto work = [&] {
    CallArrays arrays;
    for (const Export& subject : Exports()) arrays.Prepare(subject, subject.settings.front());
    const rlimit limit{AddressSpaceInUse() + kMaxBytes, RLIM_INFINITY};
    if (::setrlimit(RLIMIT_AS, &limit) != 0) return 1;
    for (std::size_t i = 0; i < kRowN; ++i) faults[i] = FaultOf(kImpossible[i], arrays);
    return 0;
  };
  ASSERT_EQ(RunInChild(work, 60), 0);
  // The texts lie at the same addresses in both processes.
  for (std::size_t i = 0; i < kRowN; ++i) {
    EXPECT_EQ(faults[i], nullptr) << kImpossible[i].name << " with " << TextOf(kImpossible[i].scalars);
  }
}
#endif

}  // namespace
}  // namespace kelvo::Reliability
