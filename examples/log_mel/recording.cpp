// Recordings in files.
#include "recording.h"

#include <sndfile.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <string>

#include "failure.h"

namespace log_mel {
namespace {

struct CloseFile {
  void operator()(SNDFILE* file) const { sf_close(file); }
};
using File = std::unique_ptr<SNDFILE, CloseFile>;

// The system's reason why the file cannot be read; libsndfile would only report an unknown format.
void CheckReadable(const std::filesystem::path& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (error) throw Failure(path.string() + ": " + error.message());
  if (std::filesystem::is_directory(status)) throw Failure(path.string() + ": is a folder");
  if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(path, error) == 0) {
    throw Failure(path.string() + ": is empty");
  }
}

}  // namespace

Recording ReadRecording(const std::filesystem::path& path) {
  constexpr std::size_t kBlockFrames = 4096;

  CheckReadable(path);
  SF_INFO info{};
  const File file(sf_open(path.c_str(), SFM_READ, &info));
  if (!file) throw Failure(path.string() + ": " + sf_strerror(nullptr));

  // Read to the end in blocks: the length in a file's header can be wrong.
  Recording recording{{}, info.samplerate};
  const auto channels = static_cast<std::size_t>(info.channels);
  std::vector<float> block(kBlockFrames * channels);
  while (const sf_count_t frames = sf_readf_float(file.get(), block.data(), kBlockFrames)) {
    for (std::size_t t = 0; t < static_cast<std::size_t>(frames); ++t) {
      float sum = 0.0f;
      for (std::size_t c = 0; c < channels; ++c) sum += block[t * channels + c];
      recording.samples.push_back(sum / static_cast<float>(channels));
    }
    if (recording.samples.size() > INT_MAX) throw Failure(path.string() + ": is too long");
  }
  if (sf_error(file.get()) != SF_ERR_NO_ERROR) throw Failure(path.string() + ": " + sf_strerror(file.get()));
  if (recording.samples.empty()) throw Failure(path.string() + ": holds no samples");
  if (!std::ranges::all_of(recording.samples, [](float sample) { return std::isfinite(sample); })) {
    throw Failure(path.string() + ": holds samples that are not finite");
  }
  return recording;
}

void WriteWav(const std::filesystem::path& path, std::span<const float> samples, int sample_rate) {
  SF_INFO info{};
  info.samplerate = sample_rate;
  info.channels = 1;
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  File file(sf_open(path.c_str(), SFM_WRITE, &info));
  if (!file) throw Failure(path.string() + ": " + sf_strerror(nullptr));
  const auto count = static_cast<sf_count_t>(samples.size());
  if (sf_write_float(file.get(), samples.data(), count) != count || sf_close(file.release()) != 0) {
    throw Failure(path.string() + ": cannot be written");
  }
}

}  // namespace log_mel
