// The product with a filter bank, hand-optimised: each band's nonzero weights are found once per call.
#include "jobs.h"
#include "peers.h"
#include "sparse_bands.h"

namespace kelvo::Bench {
namespace {

class SparseProjection {
 public:
  explicit SparseProjection(const MelProjection& job) : job_(job) {}
  void operator()(float* dst) {
    const SparseBands bands(job_.bank, job_.freq_n);
    for (std::size_t t = 0; t < job_.frame_n; t += kBlock) {
      bands.Project(dst + t, job_.frame_n, job_.src.data() + t, job_.frame_n, std::min(kBlock, job_.frame_n - t));
    }
  }

 private:
  const MelProjection& job_;
};

[[maybe_unused]] const bool registered = RegisterPeer<MelProjection, SparseProjection>("sparse bands");

}  // namespace
}  // namespace kelvo::Bench
