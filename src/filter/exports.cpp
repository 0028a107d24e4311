// The filter and resampling exports.
#include <algorithm>

#include "api/export_frame.h"
#include "filter/checks.h"
#include "filter/coefficients.h"
#include "filter/linear_filter.h"
#include "filter/resample.h"
#include "filter/zero_phase_filter.h"
#include "kelvo_audio.h"

using namespace kelvo;

namespace {

// Counts that have been checked; an absent or impossible state is an empty one.
template <class Element>
std::span<Element> MakeSpan(Element* first, int count) {
  return {first, first == nullptr ? 0 : static_cast<std::size_t>(std::max(count, 0))};
}

// Filters of order 3 and more spend most of their time on sums of doubles.
Simd::Level LevelFor(int d_coef_n) {
  return d_coef_n > 3 ? Simd::LevelForSumsOfDoubles(Simd::BestLevel()) : Simd::BestLevel();
}

}  // namespace

int kelvoAudioLinerFilter(float* dst, const float* src, const float* n_coef, const float* d_coef, float* zi, int dst_n,
                          int src_n, int n_coef_n, int d_coef_n, int zi_n) {
  return Api::RunExport({dst, src, n_coef, d_coef}, [&] {
    Filter::CheckLinerFilter(dst_n, src_n, n_coef_n, d_coef_n);
    Base::CallScratch scratch;
    Filter::LinerFilterCore<float, float, float>(MakeSpan(dst, dst_n), MakeSpan(src, src_n), MakeSpan(n_coef, n_coef_n),
                                                 MakeSpan(d_coef, d_coef_n), MakeSpan(zi, zi_n), false,
                                                 LevelFor(d_coef_n), scratch);
  });
}

int kelvoAudioGetLinerFilterZiCoef(float* dst, const float* n_coef, const float* d_coef, int dst_n, int n_coef_n,
                                   int d_coef_n) {
  return Api::RunExport({dst, n_coef, d_coef}, [&] {
    Filter::CheckZiCoef(dst_n, n_coef_n, d_coef_n);
    Base::CallScratch scratch;
    Filter::LinerFilterZi<float>(MakeSpan(dst, dst_n), MakeSpan(n_coef, n_coef_n), MakeSpan(d_coef, d_coef_n), scratch);
  });
}

int kelvoAudioFilterFilter(float* dst, const float* src, const float* n_coef, const float* d_coef, int dst_n, int src_n,
                           int n_coef_n, int d_coef_n, int pad_type, int pad_len) {
  return Api::RunExport({dst, src, n_coef, d_coef}, [&] {
    Filter::CheckFilterFilter(dst_n, src_n, n_coef_n, d_coef_n, pad_type, pad_len);
    Filter::FilterFilterCore(MakeSpan(dst, dst_n), MakeSpan(src, src_n), MakeSpan(n_coef, n_coef_n),
                             MakeSpan(d_coef, d_coef_n), pad_type, pad_len, LevelFor(d_coef_n));
  });
}

int kelvoAudioResample(float* dst, const float* src, int dst_sample_rate, int dst_n, int src_sample_rate, int src_n) {
  return Api::RunExport({dst, src}, [&] {
    Filter::CheckResample(dst_sample_rate, dst_n, src_sample_rate, src_n);
    Filter::Resample(MakeSpan(dst, dst_n), MakeSpan(src, src_n), dst_sample_rate, src_sample_rate, Simd::BestLevel());
  });
}

int kelvoAudioGetResampleLen(int* dst, int dst_sample_rate, int src_sample_n, int src_sample_rate) {
  return Api::RunExport({dst}, [&] {
    Filter::CheckResampleLen(dst_sample_rate, src_sample_n, src_sample_rate);
    *dst = Filter::ComputeResampleLen(dst_sample_rate, src_sample_n, src_sample_rate);
  });
}
