// The element-wise exports.
#include "api/elementwise.h"
#include "api/elementwise_checks.h"
#include "api/export_frame.h"
#include "kelvo_audio.h"

using namespace kelvo;

int kelvoAudioLog1p(float* dst, const float* src, int src_n) {
  return Api::RunExport({dst, src}, [&] {
    Api::CheckElementwise(src_n);
    const auto count = static_cast<std::size_t>(src_n);
    Api::ComputeLog1p({dst, count}, {src, count}, Simd::BestLevel());
  });
}

int kelvoAudioStandardize(float* dst, const float* src, int src_n) {
  return Api::RunExport({dst, src}, [&] {
    Api::CheckElementwise(src_n);
    const auto count = static_cast<std::size_t>(src_n);
    Api::Standardize({dst, count}, {src, count}, Simd::BestLevel());
  });
}
