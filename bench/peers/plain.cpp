// Plain loops with the C library's functions, as users write them without another library.
#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <type_traits>
#include <vector>

#include "jobs.h"
#include "peers.h"

namespace kelvo::Bench {
namespace {

constexpr std::size_t kAnyLength = 0;

// Direct form II transposed in double precision. With a length known to the compiler the state stays in registers.
template <std::size_t kLength>
class DirectForm {
 public:
  static bool CanDo(const LinearFilter& filter) { return kLength == kAnyLength || LengthOf(filter) == kLength; }

  explicit DirectForm(const LinearFilter& filter) {
    if constexpr (kLength == kAnyLength) {
      for (Values* values : {&b_, &a_, &steady_, &state_}) values->resize(LengthOf(filter));
    }
    std::copy(filter.numerator.begin(), filter.numerator.end(), b_.begin());
    std::copy(filter.denominator.begin(), filter.denominator.end(), a_.begin());
    const double gain = std::accumulate(b_.begin(), b_.end(), 0.0) / std::accumulate(a_.begin(), a_.end(), 0.0);
    for (std::size_t k = b_.size() - 1; k > 0; --k) steady_[k - 1] = steady_[k] + b_[k] - a_[k] * gain;
  }

  // The steady state for a constant input of this value.
  void StartSteady(double input) {
    for (std::size_t k = 0; k < state_.size(); ++k) state_[k] = steady_[k] * input;
  }

  double Step(double x) {
    const std::size_t last = b_.size() - 1;
    const double y = b_[0] * x + state_[0];
    for (std::size_t k = 1; k < last; ++k) state_[k - 1] = b_[k] * x + state_[k] - a_[k] * y;
    state_[last - 1] = b_[last] * x - a_[last] * y;
    return y;
  }

 private:
  using Values = std::conditional_t<kLength == kAnyLength, std::vector<double>, std::array<double, kLength>>;

  static std::size_t LengthOf(const LinearFilter& filter) {
    return std::max(filter.numerator.size(), filter.denominator.size());
  }

  Values b_{}, a_{}, steady_{}, state_{};
};

template <std::size_t kLength>
class PlainFilter {
 public:
  static bool CanDo(const LinearFilter& job) { return DirectForm<kLength>::CanDo(job); }
  explicit PlainFilter(const LinearFilter& job) : job_(job), filter_(job) {}
  void operator()(float* dst) {
    DirectForm<kLength> filter = filter_;
    std::transform(job_.src.begin(), job_.src.end(), dst, [&](double x) { return static_cast<float>(filter.Step(x)); });
  }

 private:
  const LinearFilter& job_;
  const DirectForm<kLength> filter_;
};

template <std::size_t kLength>
class PlainZeroPhaseFilter {
 public:
  static bool CanDo(const ZeroPhaseFilter& job) { return DirectForm<kLength>::CanDo(job); }
  explicit PlainZeroPhaseFilter(const ZeroPhaseFilter& job)
      : job_(job), filter_(job), padded_(job.src.size() + 2 * job.pad_n) {}
  void operator()(float* dst) {
    const std::size_t n = job_.src.size();
    const std::size_t pad_n = job_.pad_n;
    double* signal = padded_.data() + pad_n;
    std::copy(job_.src.begin(), job_.src.end(), signal);
    for (std::size_t j = 1; j <= pad_n; ++j) {
      padded_[pad_n - j] = 2.0 * signal[0] - signal[j];
      signal[n - 1 + j] = 2.0 * signal[n - 1] - signal[n - 1 - j];
    }
    Pass(padded_.begin(), padded_.end());
    Pass(padded_.rbegin(), padded_.rend());
    for (std::size_t i = 0; i < n; ++i) dst[i] = static_cast<float>(signal[i]);
  }

 private:
  template <class Iterator>
  void Pass(Iterator first, Iterator last) const {
    DirectForm<kLength> filter = filter_;
    filter.StartSteady(*first);
    for (; first != last; ++first) *first = filter.Step(*first);
  }

  const ZeroPhaseFilter& job_;
  const DirectForm<kLength> filter_;
  std::vector<double> padded_;
};

class PlainConversion {
 public:
  explicit PlainConversion(const ElementwiseConversion& job) : job_(job) {}
  void operator()(float* dst) {
    const float* __restrict src = job_.src.data();
    float* __restrict out = dst;
    float* __restrict phase = dst + job_.value_n;
    const auto for_each = [&](auto convert) {
      for (std::size_t i = 0; i < job_.value_n; ++i) convert(i);
    };
    const auto square = [&](std::size_t i) { return src[2 * i] * src[2 * i] + src[2 * i + 1] * src[2 * i + 1]; };
    switch (job_.conversion) {
      case Conversion::log1p: return for_each([&](std::size_t i) { out[i] = ::log1pf(src[i]); });
      case Conversion::standardise: return Standardise(out, src);
      case Conversion::power_to_db: return PowerToDb(out, src);
      case Conversion::magnitude: return for_each([&](std::size_t i) { out[i] = ::sqrtf(square(i)); });
      case Conversion::power: return for_each([&](std::size_t i) { out[i] = square(i); });
      case Conversion::other_norm: return for_each([&](std::size_t i) { out[i] = ::powf(square(i), kOtherNorm / 2); });
      case Conversion::angle:
        return for_each([&](std::size_t i) {
          out[i] = ::sqrtf(square(i));
          phase[i] = ::atan2f(src[2 * i + 1], src[2 * i]);
        });
      case Conversion::unit_phase:
        return for_each([&](std::size_t i) {
          out[i] = ::sqrtf(square(i));
          const float angle = ::atan2f(src[2 * i + 1], src[2 * i]);
          phase[2 * i] = ::cosf(angle);
          phase[2 * i + 1] = ::sinf(angle);
        });
    }
  }

 private:
  void Standardise(float* __restrict dst, const float* __restrict src) const {
    float sum = 0.0f;
    float square_sum = 0.0f;
    for (std::size_t i = 0; i < job_.value_n; ++i) {
      sum += src[i];
      square_sum += src[i] * src[i];
    }
    const float mean = sum / static_cast<float>(job_.value_n);
    const float scale = 1.0f / std::sqrt(square_sum / static_cast<float>(job_.value_n) - mean * mean);
    for (std::size_t i = 0; i < job_.value_n; ++i) dst[i] = (src[i] - mean) * scale;
  }

  void PowerToDb(float* __restrict dst, const float* __restrict src) const {
    const float peak = std::max(*std::max_element(src, src + job_.value_n), kLeastPower);
    const float reference = 10.0f * ::log10f(peak);
    for (std::size_t i = 0; i < job_.value_n; ++i) {
      dst[i] = std::max(10.0f * ::log10f(std::max(src[i], kLeastPower)) - reference, -kTopDb);
    }
  }

  const ElementwiseConversion& job_;
};

template <std::size_t... kLengths>
bool RegisterFilters(const char* name) {
  return ((RegisterPeer<LinearFilter, PlainFilter<kLengths>>(name) &&
           RegisterPeer<ZeroPhaseFilter, PlainZeroPhaseFilter<kLengths>>(name)) &&
          ...);
}

[[maybe_unused]] const bool registered = RegisterFilters<kAnyLength>("plain loop") &&
                                         RegisterFilters<3, 5, 9, 17>("plain loop, fixed order") &&
                                         RegisterPeer<ElementwiseConversion, PlainConversion>("C library");

}  // namespace
}  // namespace kelvo::Bench
