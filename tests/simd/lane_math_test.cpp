// The functions of lanes beside the runtime's. This is a sweep over a sample of all floats; the program in
// tests/exhaustive walks through every one of them.
#define KELVO_LEVEL lane_math_test
#define KELVO_LANE_BYTES 16
#include "simd/lane_math.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "support/bits.h"

namespace kelvo::Simd {
namespace {

using namespace Support;

constexpr std::uint32_t kStride = 4099;  // a prime, so that no bit of the patterns stays the same

// Calls visit(x) for a sample of the floats from first to last, both in bits and themselves included.
template <class Visit>
void Sweep(std::uint32_t first, std::uint32_t last, Visit visit) {
  for (std::uint64_t word = first; word < last; word += kStride) {
    visit(std::bit_cast<float>(static_cast<std::uint32_t>(word)));
  }
  visit(std::bit_cast<float>(last));
}

// Log10 follows the steps of glibc's log10f, 2 ulp at worst; other runtimes are nearer to the truth, thus
// farther from it.
#if defined(__GLIBC__)
constexpr int kLog10Ulp = 1;
#else
constexpr int kLog10Ulp = 2;
#endif

// The runtime's result within an ulp; zeros and infinities are its own, sign included.
testing::AssertionResult IsClose(float actual, float runtime, int ulp = 1) {
  const bool exact = runtime == 0.0f || std::isinf(runtime) || std::isnan(runtime);
  if (exact ? Bits(actual) == Bits(runtime) : UlpDistance(actual, runtime) <= ulp) return testing::AssertionSuccess();
  return testing::AssertionFailure() << actual << " beside " << runtime;
}

struct Row {
  const char* name;
  std::uint32_t first, last;
  Lanes<float, 1> (*one)(Lanes<float, 1>);
  Floats (*many)(Floats);
  float (*runtime)(float);
  int ulp;
};

// A generic lambda turns into a function of any number of lanes.
template <class Function>
Row MakeRow(const char* name, std::uint32_t first, std::uint32_t last, Function function, float (*runtime)(float),
            int ulp = 1) {
  return {name, first, last, function, function, runtime, ulp};
}

constexpr auto kLog1p = [](auto x) { return Log1p(x); };
constexpr auto kCos = [](auto x) { return CosSin(x).first; };
constexpr auto kSin = [](auto x) { return CosSin(x).second; };

const Row kRows[] = {
    MakeRow(
        "log10", 0x00800000, 0x7F800000, [](auto x) { return Log10(x); }, std::log10, kLog10Ulp),
    MakeRow("log1p of what is not negative", 0x00000000, 0x7F800000, kLog1p, std::log1p),
    MakeRow("log1p of negative values", 0x80000000, 0xFF800000, kLog1p, std::log1p),
    MakeRow("log1p of NaN", 0x7FC00000, 0x7FFFFFFF, kLog1p, std::log1p),
    MakeRow("log1p about sqrt(2) - 1", 0x3ED413C0, 0x3ED413F0, kLog1p, std::log1p),
    MakeRow("cos to pi", 0x00000000, 0x40490FDB, kCos, std::cos),
    MakeRow("sin to pi", 0x00000000, 0x40490FDB, kSin, std::sin),
    MakeRow("cos from -pi", 0x80000000, 0xC0490FDB, kCos, std::cos),
    MakeRow("sin from -pi", 0x80000000, 0xC0490FDB, kSin, std::sin),
};

TEST(LaneMath, IsWithinAnUlpOfTheRuntimeAndTheSameInEveryLane) {
  for (const Row& row : kRows) {
    int failures = 0;
    Sweep(row.first, row.last, [&](float x) {
      const float one = row.one({x}).v;
      // The lane under test lies among others that are busy with something else.
      float lanes[Floats::kSize] = {-3.0f, kNan, x, 1e30f};
      row.many(Floats::Load(lanes)).Store(lanes);
      if (failures < 5 && (!IsClose(one, row.runtime(x), row.ulp) || Bits(lanes[2]) != Bits(one))) {
        ADD_FAILURE() << row.name << " of " << x << " (0x" << std::hex << Bits(x) << "): " << one << ", among others "
                      << lanes[2] << ", the runtime's " << row.runtime(x);
        ++failures;
      }
    });
  }
}

TEST(LaneMath, AnglesAreTheRuntimesInAllQuadrantsAndAtTheirSeams) {
  const float values[] = {0.0f,    1e-45f, 1e-38f, 1e-20f, 0.1f,  0.4142f, 0.4375f,   0.6875f,   1.0f, 1.1875f,
                          2.4375f, 3.0f,   1e3f,   3e8f,   1e20f, 1e38f,   0x1p-126f, kInfinity, kNan, 0x1.fffffep127f};
  for (const float magnitude_y : values) {
    for (const float magnitude_x : values) {
      for (const float y : {magnitude_y, -magnitude_y}) {
        for (const float x : {magnitude_x, -magnitude_x}) {
          const float one = Atan2(Lanes<float, 1>{y}, Lanes<float, 1>{x}).v;
          EXPECT_TRUE(IsClose(one, std::atan2(y, x))) << y << " " << x;
          float lanes[Floats::kSize];
          Atan2(Floats::Broadcast(y), Floats::Broadcast(x)).Store(lanes);
          EXPECT_EQ(Bits(lanes[Floats::kSize - 1]), Bits(one)) << y << " " << x;
        }
      }
    }
  }
  Sweep(0x00000000, 0x7F800000, [](float y) {
    for (const float x : {1.0f, -0.37f}) EXPECT_TRUE(IsClose(Atan2(Lanes<float, 1>{y}, {x}).v, std::atan2(y, x))) << y;
  });
}

// The power as kernels compute it: two have a form of their own, and those beside them do not.
template <class Lane>
Lane Power(Lane re, Lane im, float power) {
  switch (PowerFormOf(power)) {
    case PowerForm::squared: return ApplyPower<PowerForm::squared>(re, im);
    case PowerForm::magnitude: return ApplyPower<PowerForm::magnitude>(re, im);
    default: return RaiseSquared(ApplyPower<PowerForm::squared>(re, im), power);
  }
}

TEST(LaneMath, PowersOfMagnitudesAreTheRuntimes) {
  const float values[] = {0.0f, -0.0f, 3.0f, -4.0f, 1e-23f, 1e-30f, 1e30f, 0.7f, kInfinity, -kInfinity, kNan};
  const float powers[] = {0.0f,          1e-45f, 0.3f,          0x1.fffffep-1f, 1.0f,   0x1.000002p0f, 1.5f,
                          0x1.fffffep0f, 2.0f,   0x1.000002p1f, 3.0f,           100.0f, kInfinity,     kNan};
  for (const float re : values) {
    for (const float im : values) {
      for (const float power : powers) {
        const float squared = std::pow(im, 2.0f) + std::pow(re, 2.0f);
        const float one = Power(Lanes<float, 1>{re}, Lanes<float, 1>{im}, power).v;
        EXPECT_TRUE(IsClose(one, std::pow(squared, power * 0.5f))) << re << " " << im << " " << power;
        float lanes[Floats::kSize];
        Power(Floats::Broadcast(re), Floats::Broadcast(im), power).Store(lanes);
        EXPECT_EQ(Bits(lanes[0]), Bits(one)) << re << " " << im << " " << power;
      }
    }
  }
}

}  // namespace
}  // namespace kelvo::Simd
