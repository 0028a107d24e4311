// FFTW plans, measured several times: FFTW_MEASURE decides by single timings, and a disturbed one costs up to half the
// speed.
#pragma once

#include <fftw3.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <type_traits>

#include "harness.h"

namespace kelvo::Bench {

// A complex transform or one of real samples to fft_n / 2 + 1 bins, unscaled, out of place, of 64-byte aligned arrays.
class FftwPlan {
 public:
  enum class Kind { forward, backward, real };

  FftwPlan(std::size_t fft_n, Kind kind) : kind_(kind) {
    Buffer src(2 * fft_n);
    Buffer dst(2 * fft_n);
    double least = 0.0;
    const bool is_long = fft_n >= kLongN;
    const int trial_n = is_long ? 1 : 5;
    fftwf_set_timelimit(is_long ? kSecondsForLong : FFTW_NO_TIMELIMIT);
    for (int trial = 0; trial < trial_n; ++trial) {
      fftwf_forget_wisdom();
      Handle handle(Make(static_cast<int>(fft_n), src.data(), dst.data()));
      const double time = TimeOf(handle.get(), src, dst);
      if (plan_ && time >= least) continue;
      least = time;
      plan_ = std::move(handle);
    }
  }

  void operator()(float* dst, const float* src) const { Execute(plan_.get(), dst, src); }

 private:
  using Handle = std::unique_ptr<std::remove_pointer_t<fftwf_plan>, decltype(&fftwf_destroy_plan)>;
  // From here on a timing is too long to be disturbed, and measuring all plans would take minutes.
  static constexpr std::size_t kLongN = 1 << 18;
  static constexpr double kSecondsForLong = 10.0;

  static fftwf_complex* AsComplex(const float* values) {
    return reinterpret_cast<fftwf_complex*>(const_cast<float*>(values));  // the input is kept by these plans
  }

  Handle Make(int fft_n, float* src, float* dst) const {
    const unsigned flags = FFTW_MEASURE | FFTW_PRESERVE_INPUT;
    const int sign = kind_ == Kind::backward ? FFTW_BACKWARD : FFTW_FORWARD;
    return {kind_ == Kind::real ? fftwf_plan_dft_r2c_1d(fft_n, src, AsComplex(dst), flags)
                                : fftwf_plan_dft_1d(fft_n, AsComplex(src), AsComplex(dst), sign, flags),
            fftwf_destroy_plan};
  }

  void Execute(fftwf_plan plan, float* dst, const float* src) const {
    if (kind_ == Kind::real) {
      fftwf_execute_dft_r2c(plan, const_cast<float*>(src), AsComplex(dst));
    } else {
      fftwf_execute_dft(plan, AsComplex(src), AsComplex(dst));
    }
  }

  // The least time of a run, seconds.
  double TimeOf(fftwf_plan plan, const Buffer& src, Buffer& dst) const {
    using Steady = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kPatience(3);
    const int call_n = dst.size() / 2 < kLongN ? 16 : 1;
    double least = 1e9;
    for (const auto end = Steady::now() + kPatience; Steady::now() < end;) {
      const auto start = Steady::now();
      for (int i = 0; i < call_n; ++i) Execute(plan, dst.data(), src.data());
      least = std::min(least, std::chrono::duration<double>(Steady::now() - start).count());
    }
    return least;
  }

  Kind kind_;
  Handle plan_{nullptr, fftwf_destroy_plan};
};

}  // namespace kelvo::Bench
