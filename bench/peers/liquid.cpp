// liquid-dsp's filters, single precision.
#include <liquid/liquid.h>

#include <complex>

#include "jobs.h"
#include "peers.h"

namespace kelvo::Bench {
namespace {

bool IsFir(const LinearFilter& job) { return job.denominator.size() == 1; }

class LiquidIir {
 public:
  static bool CanDo(const LinearFilter& job) { return !IsFir(job); }
  explicit LiquidIir(const LinearFilter& job)
      : job_(job),
        filter_(iirfilt_rrrf_create(
                    const_cast<float*>(job.numerator.data()), static_cast<unsigned>(job.numerator.size()),
                    const_cast<float*>(job.denominator.data()), static_cast<unsigned>(job.denominator.size())),
                iirfilt_rrrf_destroy) {}
  void operator()(float* dst) {
    iirfilt_rrrf_reset(filter_.get());
    iirfilt_rrrf_execute_block(filter_.get(), const_cast<float*>(job_.src.data()),
                               static_cast<unsigned>(job_.src.size()), dst);
  }

 private:
  const LinearFilter& job_;
  std::unique_ptr<iirfilt_rrrf_s, decltype(&iirfilt_rrrf_destroy)> filter_;
};

class LiquidFir {
 public:
  static bool CanDo(const LinearFilter& job) { return IsFir(job); }
  explicit LiquidFir(const LinearFilter& job)
      : job_(job),
        filter_(
            firfilt_rrrf_create(const_cast<float*>(job.numerator.data()), static_cast<unsigned>(job.numerator.size())),
            firfilt_rrrf_destroy) {}
  void operator()(float* dst) {
    firfilt_rrrf_reset(filter_.get());
    firfilt_rrrf_execute_block(filter_.get(), const_cast<float*>(job_.src.data()),
                               static_cast<unsigned>(job_.src.size()), dst);
  }

 private:
  const LinearFilter& job_;
  std::unique_ptr<firfilt_rrrf_s, decltype(&firfilt_rrrf_destroy)> filter_;
};

[[maybe_unused]] const bool registered =
    RegisterPeer<LinearFilter, LiquidIir>("liquid-dsp") && RegisterPeer<LinearFilter, LiquidFir>("liquid-dsp");

}  // namespace
}  // namespace kelvo::Bench
