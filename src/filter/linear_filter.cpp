// The linear filter: layout of coefficients and state for the kernels.
#include "filter/linear_filter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "base/buffers.h"
#include "filter/coefficients.h"
#include "filter/filter_kernels.h"
#include "filter/segmented_filter.h"

namespace kelvo::Filter {
namespace {

// The forms for some types.
template <class Output, class Input, class State>
const FilterForms<Output, Input>& FormsOf(const FilterKernels& kernels) {
  if constexpr (std::is_same_v<State, float>) {
    return kernels.single_state;
  } else if constexpr (std::is_same_v<Input, float>) {
    return kernels.forward;
  } else {
    return kernels.backward;
  }
}

// Only +0 counts as none: a product with -0 has the other sign.
bool HasFeedback(const NormalizedCoefficients& coefficients) {
  const double* const a = coefficients.Denominator();
  return std::any_of(a + 1, a + coefficients.Length(),
                     [](double value) { return __builtin_bit_cast(std::uint64_t, value) != 0; });
}

// Long enough to outweigh the state at a block's end, which costs as much as some filter lengths of samples.
std::size_t ChooseFirBlock(std::size_t length) { return std::max<std::size_t>(4096, 8 * length); }

}  // namespace

template <class Output, class Input, class State>
void LinerFilterCore(std::span<Output> dst, std::span<const Input> src, std::span<const float> n_coef,
                     std::span<const float> d_coef, std::span<State> zi, bool reverse, Simd::Level level) {
  const NormalizedCoefficients coefficients(n_coef, d_coef, kFilterSlack);
  const std::size_t length = coefficients.Length();
  const std::size_t count = std::min(dst.size(), src.size());
  if (length == 1) {
    const double gain = coefficients.Numerator()[0];
    for (std::size_t i = 0; i < count; ++i) dst[i] = static_cast<Output>(static_cast<double>(src[i]) * gain);
    return;
  }
  if (count == 0) return;

  const std::size_t state_n = length - 1;
  const bool keeps_state = zi.size() >= state_n;
  std::vector<double> state(state_n + kFilterSlack, -0.0);
  if (keeps_state) {
    std::copy_n(zi.begin(), state_n, state.begin());
  } else {
    std::fill_n(state.begin(), state_n, 0.0);
  }

  const std::ptrdiff_t first = reverse ? static_cast<std::ptrdiff_t>(count) - 1 : 0;
  const FilterSignal<Output, Input> signal{dst.data() + first, src.data() + first, reverse ? -1 : 1, count};
  const FilterTables filter{length, coefficients.Numerator(), coefficients.Denominator(), state.data()};
  const auto& forms = FormsOf<Output, Input, State>(Simd::KernelsFor<FilterKernels>(level));
  if (HasFeedback(coefficients) || count < 4 * length) {
    const std::size_t done = FilterInSegments(signal, filter, forms);
    const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(done) * signal.step;
    forms.recursive({signal.dst + offset, signal.src + offset, signal.step, count - done}, filter);
  } else {
    const std::size_t block_n = std::min(ChooseFirBlock(length), count);
    std::vector<double> storage = Base::MakeZeroBuffer<double>(2 * (state_n + block_n) + state_n + 3 * kFilterSlack);
    double* const input = storage.data();
    double* const output = input + state_n + block_n + kFilterSlack;
    forms.feed_forward(signal, filter, {input, output, output + block_n + kFilterSlack, block_n});
  }
  if (keeps_state) {
    std::transform(state.begin(), state.begin() + static_cast<std::ptrdiff_t>(state_n), zi.begin(),
                   [](double value) { return static_cast<State>(value); });
  }
}

template void LinerFilterCore(std::span<float>, std::span<const float>, std::span<const float>, std::span<const float>,
                              std::span<float>, bool, Simd::Level);
template void LinerFilterCore(std::span<double>, std::span<const float>, std::span<const float>, std::span<const float>,
                              std::span<double>, bool, Simd::Level);
template void LinerFilterCore(std::span<float>, std::span<const double>, std::span<const float>, std::span<const float>,
                              std::span<double>, bool, Simd::Level);

}  // namespace kelvo::Filter
