// A hand-optimised pipeline on FFTW for short-time transforms, as an expert would write it for one machine without a
// contract on bits.
//
// Two real frames make one complex transform, which on FFTW costs less than two real ones. Frames are processed in
// blocks of kBlock: their spectra are stored by frame, then transposed in registers to bins x frames. Powers and mel
// bands are formed in vector registers, the bands from their nonzero weights alone.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "fftw_plan.h"
#include "jobs.h"
#include "peers.h"
#include "sparse_bands.h"
#include "transpose.h"

namespace kelvo::Bench {
namespace {

Buffer HannWindow(std::size_t count) {
  Buffer window(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double phase = static_cast<double>(i) / static_cast<double>(count);
    window[i] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * phase));
  }
  return window;
}

// The row stride of a scratch matrix: whole cache lines and one more, so that a column is spread over all cache sets.
std::size_t PaddedStride(std::size_t count) { return (count + 15) / 16 * 16 + 16; }

// The spectra of two consecutive frames at a time.
class PairAnalysis {
 public:
  explicit PairAnalysis(const ShortTime& job)
      : job_(job),
        plan_(job.fft_n, FftwPlan::Kind::forward),
        window_(HannWindow(job.fft_n)),
        edge_a_(job.fft_n),
        edge_b_(job.fft_n),
        pair_(2 * job.fft_n),
        bins_(2 * job.fft_n),
        re_(job.fft_n + 1),
        im_(job.fft_n + 1) {
    for (float& value : window_) value *= 0.5f;  // the factor 1/2 of splitting a pair
  }

  // emit(k, a_re, a_im, b_re, b_im) for each bin of frames t and t + 1; beyond the last frame is silence.
  template <class Emit>
  void ForEachBin(std::size_t t, Emit emit) {
    Pack(FrameAt(t, edge_a_), FrameAt(t + 1, edge_b_));
    plan_(bins_.data(), pair_.data());
    Deinterleave();
    const std::size_t n = job_.fft_n;
    const float* re = re_.data();
    const float* im = im_.data();
    for (std::size_t k = 0; k < job_.BinCount(); ++k) {
      emit(k, re[k] + re[n - k], im[k] - im[n - k], im[k] + im[n - k], re[n - k] - re[k]);
    }
  }

 private:
  // Frame t within the signal, or cut into `edge`.
  const float* FrameAt(std::size_t t, Buffer& edge) const {
    const auto size = static_cast<std::ptrdiff_t>(job_.src.size());
    const auto length = static_cast<std::ptrdiff_t>(job_.fft_n);
    const auto start = static_cast<std::ptrdiff_t>(t * job_.hop_n) - (job_.centred ? length / 2 : 0);
    if (t >= job_.frame_n) {
      std::fill(edge.begin(), edge.end(), 0.0f);
      return edge.data();
    }
    if (start >= 0 && start + length <= size) return job_.src.data() + start;
    for (std::ptrdiff_t i = 0; i < length; ++i) {
      const std::ptrdiff_t position = std::abs(start + i);
      edge[static_cast<std::size_t>(i)] =
          job_.src[static_cast<std::size_t>(std::min(position, 2 * size - 2 - position))];
    }
    return edge.data();
  }

  void Pack(const float* __restrict a, const float* __restrict b) {
    float* __restrict pair = pair_.data();
    const float* __restrict window = window_.data();
    for (std::size_t i = 0; i < job_.fft_n; ++i) {
      pair[2 * i] = a[i] * window[i];
      pair[2 * i + 1] = b[i] * window[i];
    }
  }

  void Deinterleave() {
    const float* __restrict bins = bins_.data();
    float* __restrict re = re_.data();
    float* __restrict im = im_.data();
    for (std::size_t k = 0; k < job_.fft_n; ++k) {
      re[k] = bins[2 * k];
      im[k] = bins[2 * k + 1];
    }
    re[job_.fft_n] = re[0];  // bin 0 mirrors itself, as bin n
    im[job_.fft_n] = im[0];
  }

  const ShortTime& job_;
  FftwPlan plan_;
  Buffer window_, edge_a_, edge_b_;
  Buffer pair_, bins_;
  Buffer re_, im_;
};

// The powers of a block of frames, transposed to [bins x kBlock].
class PowerBlock {
 public:
  explicit PowerBlock(const ShortTime& job)
      : analysis_(job),
        bin_n_(job.BinCount()),
        stride_(PaddedStride(bin_n_)),
        by_frame_(kBlock * stride_),
        by_bin_(bin_n_ * kBlock) {}

  const float* Compute(std::size_t first, std::size_t count) {
    for (std::size_t f = 0; f < count; f += 2) {
      float* __restrict a = by_frame_.data() + f * stride_;
      float* __restrict b = a + stride_;
      analysis_.ForEachBin(first + f, [=](std::size_t k, float a_re, float a_im, float b_re, float b_im) {
        a[k] = a_re * a_re + a_im * a_im;
        b[k] = b_re * b_re + b_im * b_im;
      });
    }
    Transpose(by_bin_.data(), kBlock, by_frame_.data(), stride_, count, bin_n_);
    return by_bin_.data();
  }

 private:
  PairAnalysis analysis_;
  std::size_t bin_n_, stride_;
  Buffer by_frame_, by_bin_;
};

class FftwPowerSpectrogram {
 public:
  static bool CanDo(const Spectrogram& job) { return job.power == 1.0f || job.power == 2.0f; }
  explicit FftwPowerSpectrogram(const Spectrogram& job) : job_(job), block_(job) {}
  void operator()(float* dst) {
    for (std::size_t t = 0; t < job_.frame_n; t += kBlock) {
      const std::size_t count = std::min(kBlock, job_.frame_n - t);
      const float* power = block_.Compute(t, count);
      for (std::size_t k = 0; k < job_.BinCount(); ++k) {
        float* __restrict row = dst + 2 * (k * job_.frame_n + t);
        const bool root = job_.power == 1.0f;
        for (std::size_t f = 0; f < count; ++f) {
          row[2 * f] = root ? std::sqrt(power[k * kBlock + f]) : power[k * kBlock + f];
          row[2 * f + 1] = 0.0f;
        }
      }
    }
  }

 private:
  const Spectrogram& job_;
  PowerBlock block_;
};

class FftwComplexSpectrogram {
 public:
  static bool CanDo(const Spectrogram& job) { return job.power == 0.0f; }
  explicit FftwComplexSpectrogram(const Spectrogram& job)
      : job_(job), analysis_(job), stride_(2 * PaddedStride(job.BinCount())), by_frame_(kBlock * stride_) {}
  void operator()(float* dst) {
    for (std::size_t t = 0; t < job_.frame_n; t += kBlock) {
      const std::size_t count = std::min(kBlock, job_.frame_n - t);
      for (std::size_t f = 0; f < count; f += 2) {
        float* __restrict a = by_frame_.data() + f * stride_;
        float* __restrict b = a + stride_;
        analysis_.ForEachBin(t + f, [=](std::size_t k, float a_re, float a_im, float b_re, float b_im) {
          a[2 * k] = a_re;
          a[2 * k + 1] = a_im;
          b[2 * k] = b_re;
          b[2 * k + 1] = b_im;
        });
      }
      // A complex value is copied as one double.
      Transpose(reinterpret_cast<double*>(dst) + t, job_.frame_n, reinterpret_cast<const double*>(by_frame_.data()),
                stride_ / 2, count, job_.BinCount());
    }
  }

 private:
  const Spectrogram& job_;
  PairAnalysis analysis_;
  std::size_t stride_;
  Buffer by_frame_;
};

class FftwMelSpectrogram {
 public:
  explicit FftwMelSpectrogram(const MelSpectrogram& job) : job_(job), block_(job), bands_(job.bank, job.BinCount()) {}
  void operator()(float* dst) {
    for (std::size_t t = 0; t < job_.frame_n; t += kBlock) {
      const std::size_t count = std::min(kBlock, job_.frame_n - t);
      bands_.Project(dst + t, job_.frame_n, block_.Compute(t, count), kBlock, count);
    }
  }

 private:
  const MelSpectrogram& job_;
  PowerBlock block_;
  SparseBands bands_;
};

// Two frames per inverse transform: the spectrum of a + i b has the conjugate symmetry of neither.
class FftwInverseSpectrogram {
 public:
  explicit FftwInverseSpectrogram(const InverseSpectrogram& job)
      : job_(job),
        plan_(job.fft_n, FftwPlan::Kind::backward),
        window_(HannWindow(job.fft_n)),
        stride_(PaddedStride(job.fft_n / 2 + 1)),
        by_frame_(2 * kBlock * stride_),
        bins_(2 * job.fft_n),
        pair_(2 * job.fft_n),
        signal_(job.fft_n + job.frame_n * job.hop_n),
        envelope_(signal_.size()) {}

  void operator()(float* dst) {
    std::fill(signal_.begin(), signal_.end(), 0.0f);
    const std::size_t bin_n = job_.fft_n / 2 + 1;
    for (std::size_t t = 0; t < job_.frame_n; t += kBlock) {
      const std::size_t count = std::min(kBlock, job_.frame_n - t);
      Transpose(reinterpret_cast<double*>(by_frame_.data()), stride_,
                reinterpret_cast<const double*>(job_.src.data()) + t, job_.frame_n, bin_n, count);
      for (std::size_t f = 0; f < count; f += 2) {
        float* b = by_frame_.data() + 2 * (f + 1) * stride_;
        if (f + 1 == count) std::fill_n(b, 2 * bin_n, 0.0f);
        JoinPair(b - 2 * stride_, b);
        plan_(pair_.data(), bins_.data());
        Add(signal_.data() + (t + f) * job_.hop_n);
      }
    }
    SumEnvelope();
    const float* __restrict signal = signal_.data() + job_.fft_n / 2;
    const float* __restrict envelope = envelope_.data() + job_.fft_n / 2;
    for (std::size_t i = 0; i < job_.ResultCount(); ++i) {
      dst[i] = envelope[i] > 1e-10f ? signal[i] / envelope[i] : signal[i];
    }
  }

 private:
  // The bins of a + i b: a + i b below the middle, conj(a) + i conj(b) above.
  void JoinPair(const float* __restrict a, const float* __restrict b) {
    const std::size_t n = job_.fft_n;
    float* __restrict bins = bins_.data();
    for (std::size_t k = 0; k <= n / 2; ++k) {
      bins[2 * k] = a[2 * k] - b[2 * k + 1];
      bins[2 * k + 1] = a[2 * k + 1] + b[2 * k];
    }
    for (std::size_t k = 1; k < n - n / 2; ++k) {
      bins[2 * (n - k)] = a[2 * k] + b[2 * k + 1];
      bins[2 * (n - k) + 1] = b[2 * k] - a[2 * k + 1];
    }
    bins[1] = b[0];  // of bins 0 and n / 2 of a real frame, only the real parts count
    bins[0] = a[0];
    bins[n] = a[n];
    bins[n + 1] = b[n];
  }

  void Add(float* signal) {
    const float scale = 1.0f / static_cast<float>(job_.fft_n);
    const float* __restrict window = window_.data();
    const float* __restrict pair = pair_.data();
    float* __restrict a = signal;
    for (std::size_t i = 0; i < job_.fft_n; ++i) a[i] += pair[2 * i] * (window[i] * scale);
    float* __restrict b = signal + job_.hop_n;
    for (std::size_t i = 0; i < job_.fft_n; ++i) b[i] += pair[2 * i + 1] * (window[i] * scale);
  }

  // Where all frames overlap, the sum of the squared windows is periodic with the hop: it is computed for a few frames
  // and repeated.
  void SumEnvelope() {
    const std::size_t hop_n = job_.hop_n;
    const std::size_t overlap_n = (job_.fft_n + hop_n - 1) / hop_n;
    const std::size_t summed_n = std::min(job_.frame_n, 2 * overlap_n);
    Buffer sum(job_.fft_n + (summed_n - 1) * hop_n);
    for (std::size_t t = 0; t < summed_n; ++t) {
      float* __restrict frame = sum.data() + t * hop_n;
      const float* __restrict window = window_.data();
      for (std::size_t i = 0; i < job_.fft_n; ++i) frame[i] += window[i] * window[i];
    }
    const float* steady_end = sum.data() + std::min(overlap_n * hop_n, sum.size());
    float* out = std::copy(std::as_const(sum).data(), steady_end, envelope_.data());
    for (std::size_t t = summed_n; t < job_.frame_n; ++t) out = std::copy(steady_end - hop_n, steady_end, out);
    std::copy(steady_end, std::as_const(sum).data() + sum.size(), out);
  }

  const InverseSpectrogram& job_;
  FftwPlan plan_;
  Buffer window_;
  std::size_t stride_;
  Buffer by_frame_;
  Buffer bins_, pair_;
  Buffer signal_, envelope_;
};

[[maybe_unused]] const bool registered = RegisterPeer<Spectrogram, FftwComplexSpectrogram>("FFTW pipeline") &&
                                         RegisterPeer<Spectrogram, FftwPowerSpectrogram>("FFTW pipeline") &&
                                         RegisterPeer<MelSpectrogram, FftwMelSpectrogram>("FFTW pipeline") &&
                                         RegisterPeer<InverseSpectrogram, FftwInverseSpectrogram>("FFTW pipeline");

}  // namespace
}  // namespace kelvo::Bench
