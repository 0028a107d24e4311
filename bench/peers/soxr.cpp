// soxr at two of its qualities: "low" is the one whose stop band (about 100 dB) and cost come closest to 65 taps.
#include <soxr.h>

#include "jobs.h"
#include "peers.h"

namespace kelvo::Bench {
namespace {

template <unsigned long kQuality>
class Soxr {
 public:
  explicit Soxr(const Resampling& job) : job_(job) {}
  void operator()(float* dst) {
    const soxr_quality_spec_t quality = soxr_quality_spec(kQuality, 0);
    std::size_t done_n = 0;
    soxr_oneshot(job_.src_rate, job_.dst_rate, 1, job_.src.data(), job_.src.size(), nullptr, dst, job_.dst_n, &done_n,
                 nullptr, &quality, nullptr);
  }

 private:
  const Resampling& job_;
};

[[maybe_unused]] const bool registered =
    RegisterPeer<Resampling, Soxr<SOXR_LQ>>("soxr LQ") && RegisterPeer<Resampling, Soxr<SOXR_HQ>>("soxr HQ");

}  // namespace
}  // namespace kelvo::Bench
