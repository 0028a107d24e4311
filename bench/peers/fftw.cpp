// FFTW, single precision: its transforms called as users do.
#include "fft_output.h"
#include "fftw_plan.h"
#include "jobs.h"
#include "peers.h"

namespace kelvo::Bench {
namespace {

class FftwReal {
 public:
  explicit FftwReal(const ForwardFft& job) : job_(job), plan_(job.fft_n, FftwPlan::Kind::real) {}
  void operator()(float* dst) {
    plan_(dst, job_.src.data());
    MirrorBins(dst, job_.fft_n);
  }

 private:
  const ForwardFft& job_;
  FftwPlan plan_;
};

class FftwComplex {
 public:
  explicit FftwComplex(const ForwardFft& job)
      : job_(job), plan_(job.fft_n, FftwPlan::Kind::forward), samples_(2 * job.fft_n) {}
  void operator()(float* dst) {
    RealToComplex(samples_.data(), job_.src.data(), job_.fft_n);
    plan_(dst, samples_.data());
  }

 private:
  const ForwardFft& job_;
  FftwPlan plan_;
  Buffer samples_;
};

class FftwInverse {
 public:
  explicit FftwInverse(const InverseFft& job) : job_(job), plan_(job.fft_n, FftwPlan::Kind::backward) {}
  void operator()(float* dst) {
    plan_(dst, job_.src.data());
    Scale(dst, 2 * job_.fft_n, 1.0f / static_cast<float>(job_.fft_n));
  }

 private:
  const InverseFft& job_;
  FftwPlan plan_;
};

[[maybe_unused]] const bool registered = RegisterPeer<ForwardFft, FftwReal>("FFTW real") &&
                                         RegisterPeer<ForwardFft, FftwComplex>("FFTW complex") &&
                                         RegisterPeer<InverseFft, FftwInverse>("FFTW");

}  // namespace
}  // namespace kelvo::Bench
