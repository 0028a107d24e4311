// The linear filter: layout of coefficients and state for the kernels.
#include "filter/linear_filter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "filter/coefficients.h"
#include "filter/filter_kernels.h"

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

// Doubles of a FirScratch.
constexpr std::size_t FirScratchSize(std::size_t length, std::size_t block_n) {
  return 2 * (length - 1) + 2 * block_n + 3 * kFilterSlack;
}

// Samples in a block, given the doubles that the stack has left. Blocks are to outweigh the state at their ends, which
// costs as much as some filter lengths of samples; but a short signal is rather cut than taken to the heap.
std::size_t ChooseFirBlock(std::size_t length, std::size_t count, std::size_t stack_left) {
  constexpr std::size_t kMostParts = 4;
  const std::size_t whole = std::min(std::max<std::size_t>(4096, 8 * length), count);
  const std::size_t part = (whole + kMostParts - 1) / kMostParts;
  if (whole < count || FirScratchSize(length, part) > stack_left) return whole;
  return std::min(whole, (stack_left - FirScratchSize(length, 0)) / 2);
}

}  // namespace

template <class Output, class Input, class State>
void LinerFilterCore(std::span<Output> dst, std::span<const Input> src, std::span<const float> n_coef,
                     std::span<const float> d_coef, std::span<State> zi, bool reverse, Simd::Level level,
                     Base::CallScratch& scratch) {
  const Base::CallScratch::Section section(scratch);
  const NormalizedCoefficients coefficients(n_coef, d_coef, scratch, kFilterSlack);
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
  const auto state = scratch.Take<double>(state_n + kFilterSlack);
  if (keeps_state) {
    std::copy_n(zi.begin(), state_n, state.begin());
  } else {
    std::fill_n(state.begin(), state_n, 0.0);
  }
  std::fill_n(state.begin() + static_cast<std::ptrdiff_t>(state_n), kFilterSlack, -0.0);

  const std::ptrdiff_t first = reverse ? static_cast<std::ptrdiff_t>(count) - 1 : 0;
  const FilterSignal<Output, Input> signal{dst.data() + first, src.data() + first, reverse ? -1 : 1, count};
  const FilterTables filter{length, coefficients.Numerator(), coefficients.Denominator(), state.data()};
  const auto& forms = FormsOf<Output, Input, State>(Simd::KernelsFor<FilterKernels>(level));
  if (HasFeedback(coefficients) || count < 4 * length) {
    const std::size_t done = FilterInSegments(signal, filter, forms, scratch);
    const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(done) * signal.step;
    forms.recursive({signal.dst + offset, signal.src + offset, signal.step, count - done}, filter);
  } else {
    const std::size_t block_n = ChooseFirBlock(length, count, scratch.StackLeft() / sizeof(double));
    double* const input = scratch.TakeZeros<double>(FirScratchSize(length, block_n)).data();
    double* const output = input + state_n + block_n + kFilterSlack;
    forms.feed_forward(signal, filter, {input, output, output + block_n + kFilterSlack, block_n});
  }
  if (keeps_state) {
    std::transform(state.begin(), state.begin() + static_cast<std::ptrdiff_t>(state_n), zi.begin(),
                   [](double value) { return static_cast<State>(value); });
  }
}

template void LinerFilterCore(std::span<float>, std::span<const float>, std::span<const float>, std::span<const float>,
                              std::span<float>, bool, Simd::Level, Base::CallScratch&);
template void LinerFilterCore(std::span<double>, std::span<const float>, std::span<const float>, std::span<const float>,
                              std::span<double>, bool, Simd::Level, Base::CallScratch&);
template void LinerFilterCore(std::span<float>, std::span<const double>, std::span<const float>, std::span<const float>,
                              std::span<double>, bool, Simd::Level, Base::CallScratch&);

}  // namespace kelvo::Filter
