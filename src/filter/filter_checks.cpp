// The checks of the filter and resampling exports, in their order.
#include "filter/filter_checks.h"

#include "api/checks.h"
#include "filter/zero_phase_filter.h"

namespace kelvo::Filter {

void CheckLinerFilter(int dst_n, int src_n, int n_coef_n, int d_coef_n) {
  Api::CheckDestinationSize(dst_n);
  Api::CheckSourceSize(src_n);
  Api::CheckCoefficientSize(n_coef_n);
  Api::CheckCoefficientSize(d_coef_n);
}

void CheckZiCoef(int dst_n, int n_coef_n, int d_coef_n) {
  Api::CheckDestinationSize(dst_n);
  Api::CheckCoefficientSize(n_coef_n);
  Api::CheckCoefficientSize(d_coef_n);
}

void CheckFilterFilter(int dst_n, int src_n, int n_coef_n, int d_coef_n, int pad_type, int pad_len) {
  CheckLinerFilter(dst_n, src_n, n_coef_n, d_coef_n);
  Api::CheckPadType(pad_type);
  // A mirrored signal must not reach beyond its other end; a constant may go on for any length.
  const auto type = static_cast<FilterPadType>(pad_type);
  const bool is_mirrored = type == FilterPadType::Odd || type == FilterPadType::Even;
  Api::CheckPadLength(pad_len < 0 || (is_mirrored && pad_len > 0 && pad_len >= src_n));
}

void CheckResample(int dst_sample_rate, int dst_n, int src_sample_rate, int src_n) {
  Api::CheckTargetRate(dst_sample_rate);
  Api::CheckDestinationSize(dst_n);
  Api::CheckSourceRate(src_sample_rate);
  Api::CheckSourceSize(src_n);
}

void CheckResampleLen(int dst_sample_rate, int src_sample_n, int src_sample_rate) {
  Api::CheckTargetRate(dst_sample_rate);
  Api::CheckSourceRate(src_sample_rate);
  Api::CheckSourceSampleValue(src_sample_n);
}

void CheckCoefficients(std::size_t n_coef_n, std::size_t d_coef_n) {
  Api::FailIf(n_coef_n < 1, "Invalid n_coef size.");
  Api::FailIf(d_coef_n < 1, "Invalid d_coef size.");
}

}  // namespace kelvo::Filter
