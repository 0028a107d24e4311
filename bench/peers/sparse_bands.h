// Mel bands from their nonzero weights alone, for a block of frames in vector registers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace kelvo::Bench {

constexpr std::size_t kBlock = 32;  // frames

class SparseBands {
 public:
  // bank: [band_n x bin_n], outlives this
  SparseBands(std::span<const float> bank, std::size_t bin_n)
      : bank_(bank), bin_n_(bin_n), bands_(bank.size() / bin_n) {
    for (std::size_t m = 0; m < bands_.size(); ++m) {
      const std::span<const float> row = bank.subspan(m * bin_n, bin_n);
      const auto is_nonzero = [](float weight) { return weight != 0.0f; };
      bands_[m].begin = static_cast<std::size_t>(std::find_if(row.begin(), row.end(), is_nonzero) - row.begin());
      bands_[m].end = static_cast<std::size_t>(row.rend() - std::find_if(row.rbegin(), row.rend(), is_nonzero));
    }
  }

  // dst: [band_n x frames, dst_stride]; power: [bin_n x frames, power_stride], of which `count` frames, at most kBlock.
  void Project(float* dst, std::size_t dst_stride, const float* power, std::size_t power_stride,
               std::size_t count) const {
    for (std::size_t m = 0; m < bands_.size(); ++m) {
      const float* weights = bank_.data() + m * bin_n_;
      if (count == kBlock) {
        ProjectBand(dst + m * dst_stride, weights, bands_[m], power, power_stride, kBlock);
      } else {
        ProjectBand(dst + m * dst_stride, weights, bands_[m], power, power_stride, count);
      }
    }
  }

 private:
  struct Band {
    std::size_t begin, end;  // bins
  };

  // Inlined twice: with a constant count the sums stay in registers.
  [[gnu::always_inline]] static void ProjectBand(float* dst, const float* weights, Band band, const float* power,
                                                 std::size_t power_stride, std::size_t count) {
    float sums[kBlock] = {};
    for (std::size_t k = band.begin; k < band.end; ++k) {
      for (std::size_t f = 0; f < count; ++f) sums[f] += weights[k] * power[k * power_stride + f];
    }
    std::copy_n(sums, count, dst);
  }

  std::span<const float> bank_;
  std::size_t bin_n_;
  std::vector<Band> bands_;
};

}  // namespace kelvo::Bench
