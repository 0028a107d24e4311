// The inputs of the fuzzing corpus, each of which adds coverage, replayed at every level.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "fuzz_calls.h"

namespace kelvo::Fuzz {
namespace {

class FuzzCorpus : public testing::TestWithParam<std::string_view> {};

TEST_P(FuzzCorpus, Replays) {
  std::ifstream file(std::string(KELVO_CORPUS) + "/" + std::string(GetParam()) + ".txt");
  int input_n = 0;
  for (std::string line; std::getline(file, line); ++input_n) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
      bytes.push_back(static_cast<std::uint8_t>(std::stoi(line.substr(i, 2), nullptr, 16)));
    }
    RunInput(GetParam(), bytes, 1e5);
  }
  EXPECT_GT(input_n, 10);
}

INSTANTIATE_TEST_SUITE_P(Subsystems, FuzzCorpus, testing::ValuesIn(SubsystemNames()),
                         [](const auto& subsystem) { return std::string(subsystem.param); });

}  // namespace
}  // namespace kelvo::Fuzz
