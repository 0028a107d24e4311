// Arrays flush against unmapped pages: every export, every small count, every alignment, every kernel level.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <set>

#include "reliability/calls.h"
#include "reliability/level_override.h"
#include "support/bits.h"

namespace kelvo::Reliability {
namespace {

class GuardedArrays : public testing::TestWithParam<Export> {};

// The status of a call and its outputs. Fails where anything else has changed.
struct Result {
  int status;
  std::vector<std::uint32_t> bits;
};

testing::AssertionResult Same(const Result& a, const Result& b) {
  if (a.status != b.status) return testing::AssertionFailure() << "status " << a.status << " instead of " << b.status;
  const auto [in_a, in_b] = std::mismatch(a.bits.begin(), a.bits.end(), b.bits.begin(), b.bits.end());
  if (in_a == a.bits.end()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "output " << in_a - a.bits.begin() << " of " << a.bits.size() << " is "
                                     << std::bit_cast<float>(*in_a) << " instead of " << std::bit_cast<float>(*in_b);
}

Result Observe(CallArrays& arrays, const Export& subject, const Scalars& scalars, Placement placement) {
  EXPECT_TRUE(arrays.Prepare(subject, scalars, placement));
  const int status = arrays.CheckedCall(scalars);
  return {status, arrays.OutputBits()};
}

// At every level: the arrays before an unmapped page, and after one.
void ExpectSameResultEverywhere(CallArrays& arrays, const Export& subject, const Scalars& scalars) {
  Result scalar_result{};
  for (const Simd::Level level : Simd::SupportedLevels()) {
    const LevelOverride use(level);
    for (const bool at_end : {true, false}) {
      const Result result = Observe(arrays, subject, scalars, {at_end, 0});
      if (level == Simd::SupportedLevels().front() && at_end) scalar_result = result;
      EXPECT_TRUE(Same(result, scalar_result)) << TextOf(scalars) << Simd::LevelName(level);
    }
  }
}

TEST_P(GuardedArrays, AreNotOverrunAtAnyCount) {
  constexpr int kMaxCount = 130;
  const Export& subject = GetParam();
  CallArrays arrays;
  for (const Scalars& setting : subject.settings) {
    for (std::size_t i = 0; i < setting.size(); ++i) {
      Scalars scalars = setting;
      if (std::holds_alternative<float>(scalars[i])) continue;
      for (int count = 1; count <= kMaxCount; ++count) {
        scalars[i] = count;
        ExpectSameResultEverywhere(arrays, subject, scalars);
        if (HasFailure()) return;
      }
    }
  }
}

TEST_P(GuardedArrays, MayLieAtAnyMultipleOfFourBytes) {
  constexpr std::size_t kCacheLine = 16;
  const Export& subject = GetParam();
  CallArrays arrays;
  for (const Scalars& scalars : subject.settings) {
    for (const Simd::Level level : Simd::SupportedLevels()) {
      const LevelOverride use(level);
      const Result aligned = Observe(arrays, subject, scalars, {false, 0});
      ASSERT_EQ(aligned.status, 0);
      for (std::size_t offset = 1; offset < kCacheLine; ++offset) {
        SCOPED_TRACE(testing::Message() << Simd::LevelName(level) << ", offset " << offset);
        EXPECT_TRUE(Same(Observe(arrays, subject, scalars, {false, offset}), aligned));
        EXPECT_TRUE(Same(Observe(arrays, subject, scalars, {true, offset}), aligned));
      }
    }
  }
}

// The output and the input share one array, where the header allows it.
TEST_P(GuardedArrays, MayBeOneArrayWherePromised) {
  constexpr int kMaxCount = 70;
  const std::set<std::string> promised{"Log1p",       "Standardize",  "FFT",     "IFFT", "ConvertPowerToDB",
                                       "LinerFilter", "FilterFilter", "Resample"};
  const Export& subject = GetParam();
  if (!promised.contains(subject.name)) return;
  CallArrays arrays;
  for (Scalars scalars : subject.settings) {
    for (int count = 1; count <= kMaxCount; ++count) {
      scalars[0] = count;
      const Extent extent = subject.extent(scalars);
      const auto dst_n = static_cast<std::size_t>(extent.lengths[0]);
      const auto src_n = static_cast<std::size_t>(extent.lengths[1]);
      for (const Simd::Level level : Simd::SupportedLevels()) {
        const LevelOverride use(level);
        const Result apart = Observe(arrays, subject, scalars, {});
        ASSERT_TRUE(arrays.Prepare(subject, scalars));
        std::vector<void*> pointers(arrays.Pointers().begin(), arrays.Pointers().end());
        std::vector<float> shared(std::max(dst_n, src_n));
        std::copy_n(static_cast<const float*>(pointers[0]), dst_n, shared.begin());
        std::copy_n(static_cast<const float*>(pointers[1]), src_n, shared.begin());
        const std::uint32_t untouched = Support::Bits(*static_cast<const float*>(pointers[0]));
        pointers[0] = pointers[1] = shared.data();
        ASSERT_EQ(subject.call(pointers, scalars), apart.status);
        for (std::size_t i = 0; i < dst_n; ++i) {
          ASSERT_TRUE(apart.bits[i] == untouched || Support::Bits(shared[i]) == apart.bits[i]) << TextOf(scalars) << i;
        }
      }
    }
  }
}

// A null among the required pointers comes before any other bad argument.
TEST_P(GuardedArrays, MayNotBeNull) {
  const Export& subject = GetParam();
  CallArrays arrays;
  for (const int value : {1, -1}) {
    Scalars scalars = subject.settings.front();
    for (Scalar& scalar : scalars) {
      if (value < 0 && std::holds_alternative<int>(scalar)) scalar = value;
    }
    for (std::size_t i = 0; i < subject.arrays.size(); ++i) {
      if (subject.arrays[i] == Role::optional_state) continue;
      ASSERT_TRUE(arrays.Prepare(subject, scalars));
      arrays.SetNull(i);
      EXPECT_EQ(arrays.Call(scalars), -1);
      EXPECT_TRUE(arrays.AreOutputsIntact());
    }
  }
}

// Each parameter of which -1 is an invalid value.
TEST_P(GuardedArrays, RefuseMinusOne) {
  const Export& subject = GetParam();
  const std::string pad_value = "FixFrameLen", top_db = "ConvertPowerToDB", zi_n = "LinerFilter";
  CallArrays arrays;
  for (std::size_t i = 0; i < subject.settings.front().size(); ++i) {
    Scalars scalars = subject.settings.front();
    std::visit([](auto& value) { value = -1; }, scalars[i]);
    const bool is_last = i + 1 == scalars.size();
    const bool is_good = is_last && (subject.name == pad_value || subject.name == top_db || subject.name == zi_n);
    ASSERT_TRUE(arrays.Prepare(subject, scalars));
    EXPECT_EQ(arrays.CheckedCall(scalars), is_good ? 0 : -1) << "parameter " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, GuardedArrays, testing::ValuesIn(Exports()), NameOf);

}  // namespace
}  // namespace kelvo::Reliability
