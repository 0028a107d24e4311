// kissfft, single precision.
#include <kiss_fft.h>
#include <kiss_fftr.h>

#include "fft_output.h"
#include "jobs.h"
#include "peers.h"

namespace kelvo::Bench {
namespace {

const kiss_fft_cpx* AsComplex(const float* values) { return reinterpret_cast<const kiss_fft_cpx*>(values); }
kiss_fft_cpx* AsComplex(float* values) { return reinterpret_cast<kiss_fft_cpx*>(values); }

template <class T>
using Handle = std::unique_ptr<T, decltype(&std::free)>;

// Larger prime factors are computed by plain sums in O(n^2), and from 2^18 on a call takes many times the others'.
bool IsFast(std::size_t fft_n) {
  if (fft_n >= std::size_t{1} << 18) return false;
  for (const std::size_t p : {2u, 3u, 5u}) {
    while (fft_n % p == 0) fft_n /= p;
  }
  return fft_n == 1;
}

class KissReal {
 public:
  static bool CanDo(const ForwardFft& job) { return job.fft_n % 2 == 0 && IsFast(job.fft_n); }
  explicit KissReal(const ForwardFft& job)
      : job_(job), config_(kiss_fftr_alloc(static_cast<int>(job.fft_n), 0, nullptr, nullptr), std::free) {}
  void operator()(float* dst) {
    kiss_fftr(config_.get(), job_.src.data(), AsComplex(dst));
    MirrorBins(dst, job_.fft_n);
  }

 private:
  const ForwardFft& job_;
  Handle<kiss_fftr_state> config_;
};

class KissInverse {
 public:
  explicit KissInverse(const InverseFft& job)
      : job_(job), config_(kiss_fft_alloc(static_cast<int>(job.fft_n), 1, nullptr, nullptr), std::free) {}
  void operator()(float* dst) {
    kiss_fft(config_.get(), AsComplex(job_.src.data()), AsComplex(dst));
    Scale(dst, 2 * job_.fft_n, 1.0f / static_cast<float>(job_.fft_n));
  }

 private:
  const InverseFft& job_;
  Handle<kiss_fft_state> config_;
};

[[maybe_unused]] const bool registered =
    RegisterPeer<ForwardFft, KissReal>("kissfft") && RegisterPeer<InverseFft, KissInverse>("kissfft");

}  // namespace
}  // namespace kelvo::Bench
