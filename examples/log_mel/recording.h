// Recordings in files.
#pragma once

#include <filesystem>
#include <span>
#include <vector>

namespace log_mel {

// One channel.
struct Recording {
  std::vector<float> samples;
  int sample_rate;
};

// Reads any file that libsndfile knows and averages its channels. Throws Failure, also for a file without samples and
// for samples that are not finite.
Recording ReadRecording(const std::filesystem::path& path);

// 32-bit float samples: nothing is rounded or clipped on the way.
void WriteWav(const std::filesystem::path& path, std::span<const float> samples, int sample_rate);

}  // namespace log_mel
