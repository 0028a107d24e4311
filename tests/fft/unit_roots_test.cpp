// Roots of unity, in double precision, of short and of long tables.
#include "fft/unit_roots.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

#include "support/bits.h"

namespace kelvo::Fft {
namespace {

// Of long tables, which are products of two, as of short ones.
TEST(UnitRoots, HaveTheStoredBits) {
  struct Row {
    std::size_t length;
    std::uint64_t hash;
  };
  for (const Row& row : {Row{1000, 2376924560227843517u},
                         {65537, 15895180573117855001u},
                         {100003, 13753961467593151977u},
                         {300000, 9447321924608550397u},
                         {1 << 20, 11618808264595345325u}}) {
    const UnitRoots<double> roots(row.length);
    std::vector<std::uint32_t> bits;
    double worst = 0.0;
    for (std::size_t i = 0; i < row.length; ++i) {
      const Complex<double> root = roots(i);
      for (const double part : {root.re, root.im}) {
        const auto word = std::bit_cast<std::uint64_t>(part);
        bits.push_back(static_cast<std::uint32_t>(word));
        bits.push_back(static_cast<std::uint32_t>(word >> 32));
      }
      worst = std::max(worst, std::abs(root.re * root.re + root.im * root.im - 1.0));
    }
    EXPECT_EQ(Support::Hash(bits), row.hash) << row.length;
    EXPECT_LE(worst, 0x1p-50) << row.length;
  }
}

}  // namespace
}  // namespace kelvo::Fft
