// Known results of elementary functions.
#pragma once

namespace kelvo::Math {

// Hardest arguments were found among all floats by tests/exhaustive, results are MPFR's.
struct Known {
  float x, result;
};

// The arguments whose cosines lie closest to the middle between two floats.
inline constexpr Known kHardestOfCosine[] = {
    {0x1p-12f, 0x1p+0f},
    {0x1.20ffccp-7f, 0x1.fffae8p-1f},
    {0x1.a8872ap-11f, 0x1.fffff6p-1f},
    {0x1.1e377ap-11f, 0x1.fffffap-1f},
    {-0x1.bf4e1cp-3f, 0x1.f3d62p-1f},
    {0x1.21497ep+1f, -0x1.459d46p-1f},
    {-0x1.b6781cp+0f, -0x1.21c966p-3f},
    {0x1.544ce4p+0f, 0x1.e9cb66p-3f},
    {0x1.4b3ef8p+1f, -0x1.b37d88p-1f},
    {0x1.f9f7fep-6f, 0x1.ffc182p-1f},
};

}  // namespace kelvo::Math
