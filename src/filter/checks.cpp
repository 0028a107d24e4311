// The checks of the filter and resampling exports, in their order.
#include "filter/checks.h"

#include "api/checks.h"
#include "filter/zero_phase_filter.h"

namespace kelvo::Filter {
namespace {

void CheckDestinationSize(int dst_n) { Api::FailIf(dst_n < 1, "Invalid dst_n size."); }
// The denominator's count is reported in the numerator's name; this is meant, callers know the text.
void CheckCoefficientSize(int coef_n) { Api::FailIf(coef_n < 1, "Invalid n_coef_n size."); }
void CheckTargetRate(int dst_sample_rate) { Api::FailIf(dst_sample_rate < 1, "Invalid dst_sample_rate value."); }
void CheckSourceRate(int src_sample_rate) { Api::FailIf(src_sample_rate < 1, "Invalid src_sample_rate value."); }

}  // namespace

void CheckLinerFilter(int dst_n, int src_n, int n_coef_n, int d_coef_n) {
  CheckDestinationSize(dst_n);
  Api::CheckSourceSize(src_n);
  CheckCoefficientSize(n_coef_n);
  CheckCoefficientSize(d_coef_n);
}

void CheckZiCoef(int dst_n, int n_coef_n, int d_coef_n) {
  CheckDestinationSize(dst_n);
  CheckCoefficientSize(n_coef_n);
  CheckCoefficientSize(d_coef_n);
}

void CheckFilterFilter(int dst_n, int src_n, int n_coef_n, int d_coef_n, int pad_type, int pad_len) {
  CheckLinerFilter(dst_n, src_n, n_coef_n, d_coef_n);
  Api::FailIf(!Api::IsAcceptedValue(pad_type, {0, 1, 2, 3}), "Invalid pad_type format.");
  // A mirrored signal must not reach beyond its other end; a constant may go on for any length.
  const auto type = static_cast<FilterPadType>(pad_type);
  const bool is_mirrored = type == FilterPadType::Odd || type == FilterPadType::Even;
  Api::FailIf(pad_len < 0 || (is_mirrored && pad_len >= src_n), "Invalid pad_len value.");
}

void CheckResample(int dst_sample_rate, int dst_n, int src_sample_rate, int src_n) {
  CheckTargetRate(dst_sample_rate);
  CheckDestinationSize(dst_n);
  CheckSourceRate(src_sample_rate);
  Api::CheckSourceSize(src_n);
}

void CheckResampleLen(int dst_sample_rate, int src_sample_n, int src_sample_rate) {
  CheckTargetRate(dst_sample_rate);
  CheckSourceRate(src_sample_rate);
  Api::FailIf(src_sample_n < 1, "Invalid src_sample_n value.");
}

void CheckCoefficients(std::size_t n_coef_n, std::size_t d_coef_n) {
  Api::FailIf(n_coef_n < 1, "Invalid n_coef size.");
  Api::FailIf(d_coef_n < 1, "Invalid d_coef size.");
}

}  // namespace kelvo::Filter
