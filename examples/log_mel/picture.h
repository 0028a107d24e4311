// The picture: a waveform strip above a log-mel spectrogram, on one time axis.
#pragma once

#include <filesystem>
#include <span>
#include <string>

#include "analysis.h"

namespace log_mel {

struct PictureContent {
  std::string title;
  std::span<const float> samples;
  Stretch non_silent;  // marked on the strip
  const LogMel& log_mel;
};

void WritePng(const std::filesystem::path& path, const PictureContent& content);

}  // namespace log_mel
