// Every allocation of every export fails once, and holds anything where it does not.
#include <gtest/gtest.h>

#include <cfenv>
#include <climits>
#include <tuple>

#include "reliability/calls.h"
#include "reliability/child.h"
#include "reliability/failing_new.h"
#include "reliability/level_override.h"
#include "support/bits.h"

namespace kelvo::Reliability {
namespace {

constexpr int kOutOfMemory = -5;
constexpr int kMaxPoints = 128;  // more than any call allocates, counting both ways of failing

struct Outcome {
  int status = INT_MIN;
  std::uint64_t bits = 0;
  long kept = 0;  // allocations that outlive the call
  bool has_failed = false;
};

// One call during which `failure_n` allocations fail from number `point` on.
Outcome Observe(CallArrays& arrays, const Export& subject, const Scalars& scalars, long point = 0, long failure_n = 0) {
  Outcome outcome;
  if (!arrays.Prepare(subject, scalars)) return outcome;
  {
    const AllocationFailures failures(point, failure_n);
    const long live = LiveAllocations();
    outcome.status = arrays.Call(scalars);
    outcome.kept = LiveAllocations() - live;
    outcome.has_failed = failures.Failed() > 0;
  }
  outcome.bits = Support::Hash(arrays.OutputBits());
  EXPECT_TRUE(arrays.AreInputsIntact());
  EXPECT_TRUE(outcome.status == 0 || arrays.AreOutputsIntact());
  return outcome;
}

// Whether an allocation failed. After a failed call, the next one must give the results of `reference`.
bool Fails(CallArrays& arrays, const Export& subject, const Scalars& scalars, const Outcome& reference, long point,
           long failure_n) {
  SCOPED_TRACE(testing::Message() << "allocation " << point << ", " << failure_n << " in a row");
  const Outcome failed = Observe(arrays, subject, scalars, point, failure_n);
  EXPECT_EQ(failed.status, failed.has_failed ? kOutOfMemory : 0);
  EXPECT_TRUE(failed.has_failed || failed.bits == reference.bits);
  const Outcome next = Observe(arrays, subject, scalars);
  EXPECT_EQ(next.status, 0);
  EXPECT_EQ(next.bits, reference.bits);
  // Tables that were completed before the failure stay.
  EXPECT_EQ(failed.kept + next.kept, reference.kept);
  return failed.has_failed;
}

class AllocationFailure : public testing::TestWithParam<Export> {};

// Each allocation of the calls with settings(0), settings(1) ..., which all build new tables.
template <class Settings>
void ExpectNoSideEffects(const Export& subject, const Settings& settings) {
  CallArrays arrays;
  // The reference for calls that build new tables, computed in a process of its own.
  SharedArray<Outcome> references(kMaxPoints);
  const auto find_references = [&] {
    for (int i = 0; i < kMaxPoints; ++i) {
      references[static_cast<std::size_t>(i)] = Observe(arrays, subject, settings(i));
    }
    return 0;
  };
  ASSERT_EQ(RunInChild(find_references, 600), 0);
  int index = 0;
  for (const long failure_n : {1L, AllocationFailures::kForGood}) {
    bool has_failed = true;
    for (long point = 0; has_failed; ++point, ++index) {
      ASSERT_LT(index, kMaxPoints);
      const Outcome& reference = references[static_cast<std::size_t>(index)];
      ASSERT_EQ(reference.status, 0);
      has_failed = Fails(arrays, subject, settings(index), reference, point, failure_n);
    }
  }
}

TEST_P(AllocationFailure, HasNoSideEffects) {
  const Export& subject = GetParam();
  ExpectNoSideEffects(subject, [&](int index) { return subject.FreshSettings(index); });
}

// Transforms of these lengths have tables of their own.
TEST(AllocationFailureOfLargePrimes, HasNoSideEffects) {
  ExpectNoSideEffects(FindExport("FFT"), [](int index) { return Scalars{331 * (index + 1)}; });
  ExpectNoSideEffects(FindExport("GetInverseSpectrogram"),
                      [](int index) { return Scalars{3, 331 * (index + 1) + 1, 50, 600, 1, 700, 0, 0}; });
}

TEST_P(AllocationFailure, HasNoSideEffectsOnceTablesExist) {
  const Export& subject = GetParam();
  CallArrays arrays;
  std::vector<Scalars> settings = subject.settings;
  settings.insert(settings.end(), subject.large.begin(), subject.large.end());
  for (const Scalars& scalars : settings) {
    ASSERT_EQ(Observe(arrays, subject, scalars).status, 0);
    const Outcome reference = Observe(arrays, subject, scalars);
    EXPECT_EQ(reference.kept, 0);
    const bool is_large = std::find(subject.large.begin(), subject.large.end(), scalars) != subject.large.end();
    EXPECT_TRUE(!is_large || Observe(arrays, subject, scalars, 0, 1).has_failed) << TextOf(scalars);
    for (const long failure_n : {1L, AllocationFailures::kForGood}) {
      for (long point = 0; Fails(arrays, subject, scalars, reference, point, failure_n); ++point) {
        ASSERT_LT(point, kMaxPoints);
      }
    }
  }
}

// A bad argument is reported by an exception, whose text needs memory as well.
TEST_P(AllocationFailure, OfABadArgumentGivesEitherStatus) {
  const Export& subject = GetParam();
  CallArrays arrays;
  for (std::size_t i = 0; i < subject.settings.front().size(); ++i) {
    Scalars scalars = subject.settings.front();
    if (std::holds_alternative<float>(scalars[i])) continue;
    scalars[i] = INT_MIN;
    for (long point = 0; point < 8; ++point) {
      const Outcome outcome = Observe(arrays, subject, scalars, point, AllocationFailures::kForGood);
      EXPECT_EQ(outcome.kept, 0);
      if (outcome.status == 0) break;  // every value of this parameter is valid
      EXPECT_TRUE(outcome.status == -1 || outcome.status == kOutOfMemory) << outcome.status << ", parameter " << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, AllocationFailure, testing::ValuesIn(Exports()), NameOf);

class FreshMemoryOf : public testing::TestWithParam<Export> {};

// Neither in the results nor in the floating-point exceptions, which a host may look at.
TEST_P(FreshMemoryOf, LeavesNoTrace) {
  constexpr int kMaxCount = 130;
  constexpr unsigned char kZero = 0, kHuge = 0x7F, kNan = 0xFF;  // sums of huge numbers overflow
  const Export& subject = GetParam();
  CallArrays arrays;
  for (const Scalars& setting : subject.settings) {
    for (std::size_t i = 0; i < setting.size(); ++i) {
      Scalars scalars = setting;
      if (std::holds_alternative<float>(scalars[i])) continue;
      for (int count = 1; count <= kMaxCount; count += 1 + count / 8) {
        scalars[i] = count;
        for (const Simd::Level level : Simd::SupportedLevels()) {
          const LevelOverride use(level);
          const auto observe = [&](unsigned char byte) {
            EXPECT_TRUE(arrays.Prepare(subject, scalars));
            std::feclearexcept(FE_ALL_EXCEPT);
            const FreshMemory memory(byte);
            const int status = arrays.Call(scalars);
            return std::tuple(status, std::fetestexcept(FE_ALL_EXCEPT), Support::Hash(arrays.OutputBits()));
          };
          observe(kZero);  // builds the tables, which raises exceptions of its own
          const auto expected = observe(kZero);
          ASSERT_EQ(observe(kHuge), expected) << TextOf(scalars) << Simd::LevelName(level);
          ASSERT_EQ(observe(kNan), expected) << TextOf(scalars) << Simd::LevelName(level);
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, FreshMemoryOf, testing::ValuesIn(Exports()), NameOf);

}  // namespace
}  // namespace kelvo::Reliability
