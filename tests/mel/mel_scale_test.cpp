// The mel scales: known values, the break of the Slaney scale, and both directions against double precision.
#include "mel/mel_scale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/bits.h"

namespace kelvo::Mel {
namespace {

using namespace Support;

TEST(MelScale, HasKnownBits) {
  struct Row {
    float (*convert)(float);
    float from, to;
  };
  for (const Row& row : std::vector<Row>{
           {HzToMelSlaney, 0.0f, 0.0f},
           {HzToMelSlaney, 30.0f, 0x1.ccccccp-2f},
           {HzToMelSlaney, 1000.0f, 15.0f},
           // A reciprocal in place of the first division moves one, in place of the second the other.
           {HzToMelSlaney, 1300.0f, 0x1.2d0ec8p+4f},
           {HzToMelSlaney, 1600.0f, 0x1.5d613cp+4f},
           {HzToMelSlaney, 6400.0f, 42.0f},
           {HzToMelSlaney, kInfinity, kInfinity},
           {HzToMelSlaney, kNan, kNan},
           {MelToHzSlaney, -0.0f, 0.0f},
           {MelToHzSlaney, 1.0f, 0x1.0aaaaap+6f},
           {MelToHzSlaney, 15.0f, 15.0f * 0x1.0aaaaap+6f},
           {MelToHzSlaney, 0x1.e00002p+3f, 1000.0f},
           {HzToMelHtk, 0.0f, 0.0f},
           {HzToMelHtk, 100.0f, 0x1.2cfa72p+7f},  // a quotient, no product with 1 / 700
           {HzToMelHtk, 6300.0f, 2595.0f},
           {MelToHzHtk, 0.0f, 0.0f},
           {MelToHzHtk, 2710.0f, 0x1.b8c018p+12f},  // a product with the rounded 1 / 2595; a quotient lies 4 ulp off
       }) {
    EXPECT_EQ(Bits(row.convert(row.from)), Bits(row.to)) << row.from << " gives " << row.convert(row.from);
  }
}

TEST(MelScale, EqualsTheFormulasInDouble) {
  for (double hz = 1000.0; hz < 50000.0; hz *= 1.013) {
    const auto rounded = static_cast<float>(hz);
    const auto exact = static_cast<double>(rounded);
    const double slaney = 15.0 + 27.0 * std::log(exact / 1000.0) / std::log(6.4);
    const double htk = 2595.0 * std::log10(1.0 + exact / 700.0);
    ASSERT_NEAR(static_cast<double>(HzToMelSlaney(rounded)), slaney, 4e-7 * slaney);
    ASSERT_NEAR(static_cast<double>(HzToMelHtk(rounded)), htk, 4e-7 * htk);
    // The exponential amplifies the rounding error of mel.
    ASSERT_NEAR(static_cast<double>(MelToHzSlaney(static_cast<float>(slaney))), exact, 3e-6 * exact);
    ASSERT_NEAR(static_cast<double>(MelToHzHtk(static_cast<float>(htk))), exact, 3e-6 * exact);
  }
}

}  // namespace
}  // namespace kelvo::Mel
