// Functions of single values: stored results of the hardest arguments, special values, and agreement with the C library
// where its error cannot matter.
#include "math/functions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>

#include "math/known.h"
#include "support/bits.h"

namespace kelvo::Math {
namespace {

using namespace Support;

struct Row {
  const char* name;
  double (*function)(double);
  double x, result;
};
double (*const kCos)(double) = Cos;
double (*const kSin)(double) = Sin;
double (*const kLog10)(double) = Log10;

// Each lies so near the middle between two doubles that wide arithmetic decides, or where a piece of the method ends.
// The results come from arithmetic of 400 bits.
const Row kRows[] = {
    {"sin", kSin, 0x1.58b680f0777e0p-2, 0x1.523d34ea486c4p-2},
    {"sin", kSin, 0x1.68aa681622d6bp-1, 0x1.4b91afa075d47p-1},
    {"sin", kSin, 0x1.7c17597244c45p-4, 0x1.7b8bc325aa4b3p-4},
    {"sin", kSin, 0x1.7e27b3f7bcbfbp-1, 0x1.5ba59a10f7633p-1},
    {"cos", kCos, 0x1.311057aa6bbf4p-2, 0x1.e972654042963p-1},
    {"cos", kCos, 0x1.3ba5ef9ed2b1bp-1, 0x1.a1be8be1b4233p-1},
    {"cos", kCos, 0x1.313e224251a35p-1, 0x1.a7ac85957d6aap-1},
    {"cos", kCos, 0x1.f71df115c3d71p-4, 0x1.fc24776b52c2ep-1},
    {"sin", kSin, 0x1.706d9faac1b7bp+6, -0x1.af12ac9880df4p-1},
    {"sin", kSin, 0x1.7bb9e0369be91p+6, 0x1.436dbb22acb0cp-1},
    {"sin", kSin, 0x1.327ea8cff70c8p+5, 0x1.26744772edc87p-1},
    {"sin", kSin, 0x1.6402d1a488685p+6, 0x1.b912ac2c44b0ap-1},
    {"cos", kCos, 0x1.c7368b1347d52p+1, -0x1.d496d6d539ca1p-1},
    {"cos", kCos, 0x1.3508c722ff711p+6, -0x1.246026406c4c3p-2},
    {"cos", kCos, 0x1.bab5c90218634p+4, -0x1.a52284be5c77bp-1},
    {"cos", kCos, 0x1.cff192d38edb7p+5, 0x1.0265fc3ecb180p-3},
    {"log10", kLog10, 0x1.137aca13f25ecp-9, -0x1.56b5b64589a98p+1},
    {"log10", kLog10, 0x1.3a4b90ecdaf06p+5, 0x1.98209e97184a4p+0},
    {"log10", kLog10, 0x1.1a6b648b5bdd0p-34, -0x1.4627daecb1950p+3},
    {"log10", kLog10, 0x1.70dcd03e92078p-4, -0x1.0ba595d42ade7p+0},
    {"sin", kSin, 0x1.921fb54442d18p+0, 0x1.0000000000000p+0},
    {"cos", kCos, 0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54},
    {"sin", kSin, 0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53},
    {"cos", kCos, 0x1.921fb54442d18p+1, -0x1.0000000000000p+0},
    {"sin", kSin, 0x1.2d97c7f3321d2p+2, -0x1.0000000000000p+0},
    {"cos", kCos, 0x1.2d97c7f3321d2p+2, -0x1.a79394c9e8a0ap-53},
    {"sin", kSin, 0x1.6a09e667f3bcdp-27, 0x1.6a09e667f3bcdp-27},
    {"cos", kCos, 0x1.6a09e667f3bcdp-27, 0x1.fffffffffffffp-1},
    {"sin", kSin, 0x1.fffffffffffffp-27, 0x1.fffffffffffffp-27},
    {"cos", kCos, 0x1.fffffffffffffp-27, 0x1.fffffffffffffp-1},
    {"sin", kSin, 0x1.6300000000000p+8, -0x1.f9bd0307d1de3p-16},
    {"cos", kCos, 0x1.6300000000000p+8, -0x1.fffffffc18e4cp-1},
    {"sin", kSin, 0x1.6300000000000p+9, 0x1.f9bd0303f6fafp-15},
    {"cos", kCos, 0x1.6300000000000p+9, 0x1.fffffff063930p-1},
    {"sin", kSin, 0x1.0000000000001p-27, 0x1.0000000000001p-27},
    {"cos", kCos, 0x1.0000000000001p-27, 0x1.0000000000000p+0},
    {"sin", kSin, 0x1.921fb54442d18p-1, 0x1.6a09e667f3bccp-1},
    {"cos", kCos, 0x1.921fb54442d18p-1, 0x1.6a09e667f3bcdp-1},
    {"sin", kSin, 0x1.4000000000000p-4, 0x1.3facb12d1755bp-4},
    {"cos", kCos, 0x1.4000000000000p-4, 0x1.fe7034129ef6fp-1},
    {"sin", kSin, 0x1.6000000000000p-4, 0x1.5f911fd10b737p-4},
    {"cos", kCos, 0x1.6000000000000p-4, 0x1.fe1c4c3c873ebp-1},
    {"log10", kLog10, 0x1.0000000000001p+0, 0x1.bcb7b1526e50dp-54},
    {"log10", kLog10, 0x1.fffffffffffffp-1, -0x1.bcb7b1526e50fp-55},
    {"log10", kLog10, 0x0.0000000000001p-1022, -0x1.434e6420f4374p+8},
    {"log10", kLog10, 0x1.0000000000000p-1022, -0x1.33a7146f72a42p+8},
    {"log10", kLog10, 0x1.fffffffffffffp+1023, 0x1.34413509f79ffp+8},
    {"log10", kLog10, 0x1.b7cdfd9d7bdbbp-34, -0x1.4000000000000p+3},
    {"log10", kLog10, 0x1.f5c28f5c28f5cp-1, -0x1.1f8102faaa091p-7},
    {"log10", kLog10, 0x1.04fdf3b645a1dp+0, 0x1.12d52f85ace2cp-7},
    {"log10", kLog10, 0x1.0000000000000p+1, 0x1.34413509f79ffp-2},
};

TEST(DoubleFunctions, GiveTheStoredResults) {
  for (const Row& row : kRows) EXPECT_EQ(Bits(row.function(row.x)), Bits(row.result)) << row.name << " of " << row.x;
}

TEST(DoubleFunctions, HaveTheirSpecialValues) {
  for (const double zero : {0.0, -0.0}) {
    EXPECT_EQ(Bits(Sin(zero)), Bits(zero));
    EXPECT_EQ(Cos(zero), 1.0);
    EXPECT_EQ(Log10(zero), -HUGE_VAL);
  }
  for (const double value : {std::nan(""), HUGE_VAL, -HUGE_VAL, 0x1p+20, -1e300}) {
    EXPECT_TRUE(std::isnan(Sin(value)) && std::isnan(Cos(value))) << value;
  }
  EXPECT_EQ(Log10(HUGE_VAL), HUGE_VAL);
  EXPECT_TRUE(std::isnan(Log10(std::nan(""))) && std::isnan(Log10(-1e-300)));
  for (int power = -22; power <= 22; ++power) EXPECT_EQ(Log10(std::pow(10.0, power)), power);
}

// The C library is an ulp off at most, so a result that it brackets closely must be the same within that.
TEST(DoubleFunctions, AreWithinAnUlpOfTheCLibrary) {
  std::mt19937_64 random(4);
  const auto ulps = [](double a, double b) {
    return std::abs(__builtin_bit_cast(std::int64_t, a) - __builtin_bit_cast(std::int64_t, b));
  };
  for (int i = 0; i < 100000; ++i) {
    const double fraction = 1.0 + static_cast<double>(random() >> 11) * 0x1p-53;
    const double x = std::ldexp(fraction, static_cast<int>(random() % 60) - 40);
    ASSERT_LE(ulps(Sin(x), std::sin(x)), 1) << x;
    ASSERT_LE(ulps(Cos(x), std::cos(x)), 1) << x;
    ASSERT_EQ(Bits(Sin(-x)), Bits(-Sin(x))) << x;
    const double y = std::ldexp(fraction, static_cast<int>(random() % 2000) - 1000);
    ASSERT_LE(ulps(Log10(y), std::log10(y)), 2) << y;
  }
}

TEST(FloatFunctions, RoundOnceWhereDoublesWouldRoundTwice) {
  for (const Known& row : kHardestOfCosine) {
    EXPECT_EQ(Bits(Cos(row.x)), Bits(row.result)) << row.x;
  }
  EXPECT_EQ(Cos(-0.0f), 1.0f);
  EXPECT_TRUE(std::isnan(Cos(kNan)) && std::isnan(Cos(kInfinity)));
}

}  // namespace
}  // namespace kelvo::Math
