// The command line.
#pragma once

#include <filesystem>
#include <optional>
#include <span>

namespace log_mel {

struct Band {
  double low, high;  // Hz
};

struct Options {
  std::filesystem::path recording;
  std::filesystem::path output_folder = ".";
  std::optional<Band> band_pass;
  bool help = false;
};

extern const char* const kUsage;

// Throws WrongUsage. `sample_rate` bounds the band: its edges lie below half of it.
Options ParseOptions(std::span<const char* const> arguments, int sample_rate);

}  // namespace log_mel
