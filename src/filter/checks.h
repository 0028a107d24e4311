// Checks of the arguments of the filter and resampling exports, and of the routines that they call.
#pragma once

#include <cstddef>

namespace kelvo::Filter {

void CheckLinerFilter(int dst_n, int src_n, int n_coef_n, int d_coef_n);
void CheckZiCoef(int dst_n, int n_coef_n, int d_coef_n);
void CheckFilterFilter(int dst_n, int src_n, int n_coef_n, int d_coef_n, int pad_type, int pad_len);
void CheckResample(int dst_sample_rate, int dst_n, int src_sample_rate, int src_n);
void CheckResampleLen(int dst_sample_rate, int src_sample_n, int src_sample_rate);

// What the filter routines ask of their own callers.
void CheckCoefficients(std::size_t n_coef_n, std::size_t d_coef_n);

}  // namespace kelvo::Filter
