// libavutil's transforms, for the lengths that it has fast algorithms for.
extern "C" {
#include <libavutil/tx.h>
}

#include <bit>
#include <stdexcept>
#include <string>

#include "fft_output.h"
#include "jobs.h"
#include "peers.h"

namespace kelvo::Bench {
namespace {

// Other lengths are computed by the plain sum in O(n^2).
bool IsFast(std::size_t fft_n) {
  const std::size_t odd_factor = fft_n >> std::countr_zero(fft_n);
  return fft_n <= std::size_t{1} << 17 && (odd_factor <= 9 || odd_factor == 15);
}

class Transform {
 public:
  Transform(AVTXType type, bool inverse, std::size_t fft_n) {
    const float scale = 1.0f;
    if (av_tx_init(&context_, &function_, type, inverse, static_cast<int>(fft_n), &scale, 0) < 0) {
      throw std::runtime_error("libavutil has no transform of length " + std::to_string(fft_n));
    }
  }
  ~Transform() { av_tx_uninit(&context_); }
  Transform(const Transform&) = delete;
  Transform& operator=(const Transform&) = delete;

  void operator()(float* dst, const float* src, std::ptrdiff_t stride) const {
    function_(context_, dst, const_cast<float*>(src), stride);  // the transforms used here leave their input alone
  }

 private:
  AVTXContext* context_ = nullptr;
  av_tx_fn function_ = nullptr;
};

class AvutilReal {
 public:
  static bool CanDo(const ForwardFft& job) { return IsFast(job.fft_n); }
  explicit AvutilReal(const ForwardFft& job) : job_(job), transform_(AV_TX_FLOAT_RDFT, false, job.fft_n) {}
  void operator()(float* dst) {
    transform_(dst, job_.src.data(), sizeof(float));
    MirrorBins(dst, job_.fft_n);
  }

 private:
  const ForwardFft& job_;
  Transform transform_;
};

class AvutilInverse {
 public:
  static bool CanDo(const InverseFft& job) { return IsFast(job.fft_n); }
  explicit AvutilInverse(const InverseFft& job) : job_(job), transform_(AV_TX_FLOAT_FFT, true, job.fft_n) {}
  void operator()(float* dst) {
    transform_(dst, job_.src.data(), sizeof(AVComplexFloat));
    Scale(dst, 2 * job_.fft_n, 1.0f / static_cast<float>(job_.fft_n));
  }

 private:
  const InverseFft& job_;
  Transform transform_;
};

[[maybe_unused]] const bool registered =
    RegisterPeer<ForwardFft, AvutilReal>("libavutil") && RegisterPeer<InverseFft, AvutilInverse>("libavutil");

}  // namespace
}  // namespace kelvo::Bench
