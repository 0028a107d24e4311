// Stored hashes of results: the same bits from every compiler, at every level of optimisation, on every CPU.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>

#include "reliability/calls.h"
#include "reliability/level_override.h"
#include "support/bits.h"

namespace kelvo::Reliability {
namespace {

// By export, for each of its settings. Arithmetic alone decides these, the library's own logarithms and angles, and
// double-precision functions of the C library whose last bit is rounded away. 0: a single-precision function of the C library has a say, so the hash holds for one
// C library; it is printed, and cmake/cross/run.sh compares it between builds. Those of the transforms change with the
// algorithm, whose bits are not promised; all others are.
const std::map<std::string, std::vector<std::uint64_t>> kStored{
    {"Log1p", {0xb83123105d41b31f, 0xb83123105d41b31f}},
    {"Standardize", {0x9604eb7b3d8be35f, 0x9604eb7b3d8be35f}},
    {"FFT", {0xdd72d6a8a253ddb9, 0xdd72d6a8a253ddb9}},
    {"IFFT", {0xa2c23f54b3af7fda, 0xa2c23f54b3af7fda}},
    {"GetFrameLen", {0x72631d22f6a686f0, 0x238345886fad0be8, 0x431111b5c83f9230}},
    {"GetSampleLen", {0xd39f850169565c90, 0x247275be173603d8}},
    {"FixFrameLen", {0x2609cc209476068c, 0x1378ddd2cfb85831}},
    {"GetNonSilentPos", {0xa30c26a80e0dcdd4, 0x99bd80e998f2fb28}},
    {"GetFBMatrix", {0, 0, 0xf05e33c4db366b8c}},
    {"ConvertToMel", {0xbd79cc31640937e9, 0x208b7cf829bb71d6}},
    {"ConvertPowerToDB", {0x1c186a532c886415, 0xd2d33b1e1181e4db}},
    {"MagPhase", {0x73a115bc297de78a, 0xa105c65676397a08, 0x769e1be373793279}},
    {"ComplexNorm", {0, 0x3467067c4b84af31, 0x0fdcf106f3e1162e}},
    {"LinerFilter", {0x8155808078b89949, 0xee6db00f5383672b, 0x793ab853af60d800, 0xbed8e8325950e297}},
    {"GetLinerFilterZiCoef", {0x546c3aebffcf5bdd, 0x532660ee1090ca6e}},
    {"FilterFilter", {0x98331173436a67f8, 0xcc735a557d18d18a, 0xaddbfc9c91dd718d, 0xbc6f65abd88e451f, 0x45e74f0d565986cb}},
#if defined(__GLIBC__)
    // Its taps stay in double, so that a last bit of sin and cos may show in a sample of many.
    {"Resample", {0x984c7a5f97a233ff, 0x6ef3accf9e559f05, 0x9b0b7e05a3fb064b, 0xabb7d9adb706b698}},
#endif
    {"GetResampleLen", {0xf90ff7434bec4c50, 0x9eb4e0f7fc8e5ddc}},
};

// All results of one setting: each count in turn is set to values from one lane to several blocks.
std::uint64_t HashOfResults(const Export& subject, const Scalars& setting) {
  constexpr double kMostOperations = 2e6;
  std::vector<int> counts{63, 64, 65, 100, 127, 128, 130, 240, 441, 512, 1000, 1009, 1024, 2048};
  for (int count = 1; count <= 34; ++count) counts.push_back(count);
  CallArrays arrays;
  std::uint64_t hash = 0;
  for (const Content inputs : {Content::noise, Content::mixed_noise}) {
    for (std::size_t i = 0; i < setting.size(); ++i) {
      // Modes stay: they select the computation.
      if (const int* const typical = std::get_if<int>(&setting[i]); typical == nullptr || *typical < 2) continue;
      Scalars scalars = setting;
      for (const int count : counts) {
        scalars[i] = count;
        if (subject.extent(scalars).operations > kMostOperations) continue;
        EXPECT_TRUE(arrays.Prepare(subject, scalars, {.inputs = inputs}));
        const auto status = static_cast<std::uint64_t>(arrays.Call(scalars));
        hash = Support::Hash(arrays.OutputBits(), hash + status);
      }
    }
  }
  return hash;
}

class GoldenHashes : public testing::TestWithParam<Export> {};

TEST_P(GoldenHashes, AreThoseStored) {
  const Export& subject = GetParam();
  const auto row = kStored.find(subject.name);
  for (std::size_t s = 0; s < subject.settings.size(); ++s) {
    std::uint64_t expected = 0;
    if (row != kStored.end()) {
      ASSERT_EQ(row->second.size(), subject.settings.size());
      expected = row->second[s];
    }
    std::uint64_t hash = 0;
    std::string levels;
    for (const Simd::Level level : Simd::SupportedLevels()) {
      const LevelOverride use(level);
      hash = HashOfResults(subject, subject.settings[s]);
      if (expected == 0) expected = hash;
      EXPECT_EQ(hash, expected) << Simd::LevelName(level);
      levels += std::string(" ") + Simd::LevelName(level);
    }
    std::printf("hash of %s, setting %zu: %016llx at%s\n", subject.name, s, static_cast<unsigned long long>(hash),
                levels.c_str());
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, GoldenHashes, testing::ValuesIn(Exports()), NameOf);

}  // namespace
}  // namespace kelvo::Reliability
