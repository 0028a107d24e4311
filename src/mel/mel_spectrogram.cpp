// Mel spectrograms.
#include "mel/mel_spectrogram.h"

#include "mel/mel_kernels.h"

namespace kelvo::Mel {

MelFilterBankKey MelSettings::BankKey() const {
  return {short_time.fft_n / 2 + 1, f_min, f_max, mel_n, sample_rate, mel_norm, mel_formula != 0};
}

void ComputeMelSpectrogram(float* dst, std::span<const float> src, const MelSettings& settings, Simd::Level level) {
  const std::size_t frame_n = Stft::CountFrames(settings.short_time);
  if (frame_n == 0) return;
  // Powers even where power is 0: every bin is then 1, and a band the sum of its weights.
  Base::CallScratch scratch;
  Stft::ShortTimeTransform transform(settings.short_time, frame_n, Stft::ShortTimeTransform::Output::Power,
                                     settings.power, level, scratch);
  const MelFilterBank& bank = MelFilterBankCache::Get().GetFilterBank(settings.BankKey());
  const MelKernels& kernels = Simd::KernelsFor<MelKernels>(level);
  Stft::ResultColumns columns({dst, frame_n}, bank.bands.size(), frame_n, 1, transform.Kernels(), scratch);
  transform.ForEachBlock(src, [&](std::size_t count, const Stft::BinBlock& bins) {
    const Stft::BinBlock place = columns.Next(count);
    kernels.multiply({place.data, place.stride, bins.data, bins.stride, transform.BatchStride(), bank.weights.data(),
                      bank.bands.data(), bank.overlap_by_pairs, bank.bands.size(), transform.BinCount(), count});
  });
  columns.Finish();
}

void MultiplyFilterBank(float* dst, const float* src, const float* fb_matrix, int freq_n, int frame_n, int mel_n,
                        Simd::Level level) {
  const auto bins = static_cast<std::size_t>(freq_n);
  const auto frames = static_cast<std::size_t>(frame_n);
  Base::CallScratch scratch;
  const std::span<Band> bands = scratch.Take<Band>(static_cast<std::uint64_t>(mel_n));
  FindBands(bands, {fb_matrix, bands.size() * bins});
  const MelKernels& kernels = Simd::KernelsFor<MelKernels>(level);
  kernels.multiply({dst, frames, src, frames, kernels.lane_n, fb_matrix, bands.data(), OverlapByPairs(bands),
                    bands.size(), bins, frames});
}

}  // namespace kelvo::Mel
